#include "ostrel/Lockable.h"

namespace Ostrel {

Lockable::~Lockable() = default;

NullMutex& NullMutex::getInstance()
{
    static NullMutex instance;
    return instance;
}

void NullMutex::lock() {}

void NullMutex::unlock() {}

// The pthread mutex itself, past what a class derived from `Mutex` makes of `lock` and `unlock`.
void MutexLockableWrapper::lock()
{
    pthread_mutex_lock(&_mutex._mutex);
}

void MutexLockableWrapper::unlock()
{
    pthread_mutex_unlock(&_mutex._mutex);
}

} // namespace Ostrel
