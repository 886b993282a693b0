/// Not installed: internal to the library.
///
/// The lock of the byte FIFO.
#pragma once

#include "ostrel/Mutex.h"

namespace Ostrel {

/// Holds a `CheckedMutex` for a scope, as `NestedScopeLock` does, but never nested: the caller must not hold it yet. It
/// looks again for a while before it sleeps: where the holder copies a few bytes, a sleep would take longer than the
/// wait, and cost the holder a wake-up.
class PatientLock
{
public:
    explicit PatientLock(CheckedMutex& mutex) : _mutex(mutex) { lock(mutex); }
    ~PatientLock() { pthread_mutex_unlock(&_mutex._mutex); }
    PatientLock(const PatientLock&) = delete;
    PatientLock& operator=(const PatientLock&) = delete;

    /// Makes `mutex`, which is new, one that does not know its holder, unlike others of its class: nobody asks for that
    /// where only patient locks take it, and it is quicker.
    static void simplify(CheckedMutex& mutex);

    /// Lets another thread have the processor and the mutex, which the caller holds.
    static void yield(CheckedMutex& mutex);

private:
    static void lock(CheckedMutex& mutex);

    CheckedMutex& _mutex;
};

} // namespace Ostrel
