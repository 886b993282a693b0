#pragma once

#include "ostrel/Export.h"
#include "ostrel/Mutex.h"

namespace Ostrel {

/// Anything that can be locked, for classes whose callers decide whether and with what they are guarded.
///
/// Errors:    none; what the lock beneath answers is dropped.
class OSTREL_EXPORT Lockable
{
public:
    virtual ~Lockable();
    virtual void lock() = 0;   ///< Waits until the lock is the caller's.
    virtual void unlock() = 0; ///< The caller holds the lock.
};

/// No locking at all, for objects that live on one thread.
class OSTREL_EXPORT NullMutex : public Lockable
{
public:
    static NullMutex& getInstance(); ///< One for the whole process; destroyed at its exit.

    void lock() override;
    void unlock() override;
};

/// Makes a `Mutex` a `Lockable`. The mutex outlives the wrapper.
class OSTREL_EXPORT MutexLockableWrapper : public Lockable
{
public:
    explicit MutexLockableWrapper(Mutex& mutex) : _mutex(mutex) {}

    void lock() override;
    void unlock() override;

private:
    Mutex& _mutex;
};

} // namespace Ostrel
