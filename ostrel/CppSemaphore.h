#pragma once

#include <cerrno>
#include <semaphore.h>

#include "ostrel/Export.h"
#include "ostrel/Report.h"

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

    /// Takes a unit, as soon as there is one.
    void wait()
    {
        int rc;
        do {
            rc = sem_wait(&m_sem);
        } while (rc == -1 && errno == EINTR);
        OSTREL_CHECK_FROM(FATAL, REPORTING_FILE, LINE_WAIT, "-1 != rc", -1 != rc);
    }

    /// Waits `seconds` at most, counted anew after each signal that interrupts. Whether a unit was taken or the time
    /// was over is not told.
    void timedWait(int seconds);

    /// Gives back a unit.
    void post()
    {
        // Reported only: the caller cannot mend it.
        OSTREL_CHECK_FROM(FATAL, REPORTING_FILE, LINE_POST, "-1 != sem_post(&m_sem)", -1 != sem_post(&m_sem));
    }

    bool tryWait(); ///< True if a unit was taken; never blocks, never reports.
    int value();    ///< The units that are free at the moment.

private:
    static constexpr const char* REPORTING_FILE = "ostrel/CppSemaphore.cpp"; ///< Also where this header reports.
    static constexpr int LINE_WAIT = 37;
    static constexpr int LINE_POST = 66;

    sem_t m_sem;
};

} // namespace Ostrel
