#include "ostrel/Mutex.h"

#include <time.h>

#include "ostrel/Assert.h"

namespace Ostrel {

namespace {

constexpr int LINE_NOT_HELD = 102;

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

// Another number than these two, which are all of TYPE, leaves the mutex uninitialised, as the header says.
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

CheckedMutex::CheckedMutex() // NOLINT(cppcoreguidelines-pro-type-member-init)
{
    initializeMutex(&_mutex, PTHREAD_MUTEX_ERRORCHECK);
}

CheckedMutex::~CheckedMutex()
{
    pthread_mutex_destroy(&_mutex);
}

NestedScopeLock::NestedScopeLock(CheckedMutex& mutex, unsigned int intervalMs, unsigned int attempts) : _locked(nullptr)
{
    // Not usleep(): its microseconds would wrap above 71 minutes.
    const timespec interval = {static_cast<time_t>(intervalMs / 1000), static_cast<long>(intervalMs % 1000) * 1000000};
    for (unsigned int attempt = 0; attempt < attempts; ++attempt) {
        if (pthread_mutex_trylock(&mutex._mutex) == 0) {
            _locked = &mutex;
            return;
        }
        nanosleep(&interval, nullptr);
    }
}

NestedScopeUnlock::NestedScopeUnlock(CheckedMutex& mutex) : _unlocked(&mutex)
{
    OSTREL_ASSERT_AT(pthread_mutex_unlock(&mutex._mutex) != EPERM, "false", LINE_NOT_HELD);
}

} // namespace Ostrel
