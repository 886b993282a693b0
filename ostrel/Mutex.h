#pragma once

#include <cerrno>
#include <pthread.h>

#include "ostrel/Export.h"

namespace Ostrel {

/// Root of the mutex family.
class OSTREL_EXPORT AbstractMutex
{
public:
    virtual ~AbstractMutex();
};

/// A POSIX mutex, normal or recursive.
///
/// Ownership: not copyable; must not be destroyed while locked.
/// Errors:    `lock` and `unlock` give the pthread result unchanged, 0 on success.
class OSTREL_EXPORT Mutex : public AbstractMutex
{
public:
    /// Whether the thread that holds the mutex can lock it again.
    enum TYPE : int { NORMAL = 0, RECURSIVE = 1 }; // on `int`, so that a compiler may not rule out other values

    /// A value of `type` that is neither of the two leaves the mutex uninitialised: using it is undefined.
    explicit Mutex(TYPE type = NORMAL);
    ~Mutex() override;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// All give 0 or the error of the pthread call.
    virtual int lock();
    virtual int unlock();

private:
    friend class Conditional;
    friend class MutexLockableWrapper;

    pthread_mutex_t _mutex;
};

/// A mutex that knows its holder, for code that may be entered again by the thread that holds it already. It is locked
/// through `NestedScopeLock` alone.
///
/// Ownership: not copyable; must not be destroyed while locked.
class OSTREL_EXPORT CheckedMutex
{
public:
    CheckedMutex();
    ~CheckedMutex();
    CheckedMutex(const CheckedMutex&) = delete;
    CheckedMutex& operator=(const CheckedMutex&) = delete;

private:
    friend class Conditional;
    friend class NestedScopeLock;
    friend class NestedScopeUnlock;
    friend class PatientLock; ///< The library's own, for its FIFO.

    pthread_mutex_t _mutex;
};

/// Holds a `CheckedMutex` for a scope. Scopes of one thread may nest: only the outermost unlocks.
///
///     void push(CheckedMutex& mutex)
///     {
///         NestedScopeLock guard(mutex);
///     }
///
///     void pushAll(CheckedMutex& mutex)
///     {
///         NestedScopeLock guard(mutex);
///         push(mutex); // opens the same guard
///     }
///
/// Units:     milliseconds.
/// Errors:    none; whether the second form got the mutex shows only in the mutex being held.
/// Threads:   the guard belongs to the thread that made it.
class OSTREL_EXPORT NestedScopeLock
{
public:
    // Only "held by the caller already" records nothing; any other result is taken for a lock.
    explicit NestedScopeLock(CheckedMutex& mutex)
        : _locked(pthread_mutex_lock(&mutex._mutex) == EDEADLK ? nullptr : &mutex)
    {}

    /// Tries `attempts` times to get the mutex and sleeps `intervalMs` after each failure, the last one included. A
    /// mutex that the caller holds already counts as a failure too. A signal handler ends the sleep that it interrupts,
    /// so the tries are over sooner. A cancellation point while it sleeps, when it holds nothing.
    NestedScopeLock(CheckedMutex& mutex, unsigned int intervalMs, unsigned int attempts);

    ~NestedScopeLock()
    {
        if (_locked != nullptr)
            pthread_mutex_unlock(&_locked->_mutex);
    }
    NestedScopeLock(const NestedScopeLock&) = delete;
    NestedScopeLock& operator=(const NestedScopeLock&) = delete;

private:
    friend class LockProbe; ///< Lets tests see which guard locked.

    CheckedMutex* _locked; ///< Null when this guard did not lock it.
};

/// Lets go of a `CheckedMutex` for a scope, and takes it again at the end, however deep the guards are nested.
///
/// Errors:    the process stops when the caller does not hold the mutex.
/// Threads:   the guard belongs to the thread that made it.
class OSTREL_EXPORT NestedScopeUnlock
{
public:
    explicit NestedScopeUnlock(CheckedMutex& mutex);
    ~NestedScopeUnlock() { pthread_mutex_lock(&_unlocked->_mutex); }
    NestedScopeUnlock(const NestedScopeUnlock&) = delete;
    NestedScopeUnlock& operator=(const NestedScopeUnlock&) = delete;

private:
    CheckedMutex* _unlocked;
};

} // namespace Ostrel
