#pragma once

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
/// Units:     none.
/// Ownership: not copyable; must not be destroyed while locked.
/// Errors:    `lock` and `unlock` give the pthread result unchanged, 0 on success.
/// Threads:   that is its purpose.
class OSTREL_EXPORT Mutex : public AbstractMutex
{
public:
    enum TYPE { NORMAL = 0, RECURSIVE = 1 };

    /// A value of `type` that is neither of the two leaves the mutex uninitialised: using it is undefined.
    explicit Mutex(TYPE type = NORMAL);
    ~Mutex() override;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    virtual int lock();
    virtual int unlock();

private:
    pthread_mutex_t _mutex;
};

} // namespace Ostrel
