#include "ostrel/Mutex.h"

namespace Ostrel {

namespace {

void initializeMutex(pthread_mutex_t* mutex, int pthreadType)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, pthreadType);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

} // namespace

AbstractMutex::~AbstractMutex() = default;

// Any other type is left uninitialised on purpose: callers use these two only.
Mutex::Mutex(TYPE type) // NOLINT(cppcoreguidelines-pro-type-member-init)
{
    if (type == NORMAL)
        pthread_mutex_init(&_mutex, nullptr);
    else if (type == RECURSIVE)
        initializeMutex(&_mutex, PTHREAD_MUTEX_RECURSIVE);
}

Mutex::~Mutex()
{
    pthread_mutex_destroy(&_mutex);
}

int Mutex::lock()
{
    return pthread_mutex_lock(&_mutex);
}

int Mutex::unlock()
{
    return pthread_mutex_unlock(&_mutex);
}

} // namespace Ostrel
