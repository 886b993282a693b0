#include "ostrel/internal/PatientLock.h"

#include <sched.h>

namespace Ostrel {

namespace {

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

} // namespace

void PatientLock::simplify(CheckedMutex& mutex)
{
    pthread_mutex_destroy(&mutex._mutex);
    pthread_mutex_init(&mutex._mutex, nullptr);
}

void PatientLock::yield(CheckedMutex& mutex)
{
    pthread_mutex_unlock(&mutex._mutex);
    sched_yield();
    lock(mutex);
}

void PatientLock::lock(CheckedMutex& mutex)
{
    for (unsigned int attempt = 0; attempt < ATTEMPTS_BEFORE_SLEEP; ++attempt) {
        if (pthread_mutex_trylock(&mutex._mutex) == 0)
            return;
        for (unsigned int pause = 0; pause < PAUSES_PER_ATTEMPT; ++pause)
            relax();
    }
    pthread_mutex_lock(&mutex._mutex);
}

} // namespace Ostrel
