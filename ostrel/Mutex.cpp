#include "ostrel/Mutex.h"

#include <sched.h>
#include <time.h>

#include "ostrel/Assert.h"

namespace Ostrel {

namespace {

enum {
    LINE_NOT_HELD = 102 // crash logs are matched on file and line, so the number outlives edits
};

const unsigned int ATTEMPTS_BEFORE_SLEEP = 16;
const unsigned int PAUSES_PER_ATTEMPT = 64; // rare, so that the holder keeps the mutex in its own cache

inline void relax()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || (defined(__ARM_ARCH) && __ARM_ARCH >= 7)
    asm volatile("yield");
#else
    asm volatile("");
#endif
}

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

/// Looks again for a while before it sleeps: where the holder copies a few bytes, a sleep would take longer than the
/// wait, and cost the holder a wake-up. The caller must not hold it.
void CheckedMutex::lockPatiently()
{
    for (unsigned int attempt = 0; attempt < ATTEMPTS_BEFORE_SLEEP; ++attempt) {
        if (pthread_mutex_trylock(&_mutex) == 0)
            return;
        for (unsigned int pause = 0; pause < PAUSES_PER_ATTEMPT; ++pause)
            relax();
    }
    pthread_mutex_lock(&_mutex);
}

/// Lets another thread have the processor and the mutex, which the caller holds.
void CheckedMutex::yield()
{
    pthread_mutex_unlock(&_mutex);
    sched_yield();
    lockPatiently();
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
