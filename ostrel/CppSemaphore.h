#pragma once

#include <semaphore.h>

#include "ostrel/Export.h"

namespace Ostrel {

/// A counting semaphore between the threads of one process.
///
/// Units:     seconds of the wall clock.
/// Ownership: not copyable; must not be destroyed while waited on.
/// Errors:    a system call that fails makes a fatal report with its test, and the operation returns as if done. Being
///            interrupted by a signal is no failure.
/// Threads:   that is its purpose; the waits are cancellation points.
class OSTREL_EXPORT Semaphore
{
public:
    explicit Semaphore(unsigned int initialValue); ///< At most SEM_VALUE_MAX, 2147483647.
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    void wait()
    {
        if (sem_wait(&m_sem) == -1)
            waitOn();
    }

    /// Waits `seconds` at most, counted anew after each signal that interrupts. Whether a unit was taken or the time
    /// was over is not told.
    void timedWait(int seconds);

    void post()
    {
        if (sem_post(&m_sem) == -1)
            reportPost();
    }

    bool tryWait(); ///< True if a unit was taken; never blocks, never reports.
    int value();

private:
    void waitOn();
    void reportPost();

    sem_t m_sem;
};

} // namespace Ostrel
