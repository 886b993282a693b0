#pragma once

#include <pthread.h>
#include <time.h>

#include "ostrel/Config.h"
#include "ostrel/Export.h"
#include "ostrel/Mutex.h"

namespace Ostrel {

/// A condition variable whose time-outs are relative and do not follow changes of the wall clock.
///
///     void waitUntilReady(CheckedMutex& mutex, Conditional& changed, const bool& ready)
///     {
///         NestedScopeLock guard(mutex);
///         while (!ready)
///             changed.wait(mutex);
///     }
///
/// Units:     seconds, and nanoseconds from 0 to 999999999.
/// Ownership: not copyable; must not be destroyed while waited on.
/// Errors:    none; a wait may end without a signal, so test in a loop. Nanoseconds out of range are added to those of
///            the clock, of which one second at most is carried: depending on that clock the wait is longer or shorter
///            by them, or ends at once, as timed out or as if signalled.
/// Threads:   waits are cancellation points; the mutex is held again when the thread's clean-up runs. The caller holds
///            the mutex; a `CheckedMutex` is let go however deep its guards are nested.
class OSTREL_EXPORT Conditional
{
public:
    Conditional();
    ~Conditional();
    Conditional(const Conditional&) = delete;
    Conditional& operator=(const Conditional&) = delete;

    void signal() { pthread_cond_signal(&_condition); }       ///< Wakes one of those who wait.
    void broadcast() { pthread_cond_broadcast(&_condition); } ///< Wakes all who wait.

    /// Waits for a signal, without the mutex meanwhile.
    void wait(Mutex& mutex);
    void wait(CheckedMutex& mutex);

    /// True when the time was over, false otherwise.
    bool relTimedWait(Mutex& mutex, timespec relative);
    bool relTimedWait(CheckedMutex& mutex, timespec relative);

    /// The time at which a wait that starts `now` is over; stops at the last second that can be told.
    static timespec getDeadline(timespec now, timespec relative);

private:
    OSTREL_LOCAL bool relTimedWait(pthread_mutex_t* mutex, const timespec& relative);

    pthread_cond_t _condition;
};

} // namespace Ostrel
