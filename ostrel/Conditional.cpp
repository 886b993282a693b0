#include "ostrel/Conditional.h"

#include <cerrno>
#include <limits>

namespace Ostrel {

namespace {

const long NANOSECONDS_PER_SECOND = 1000000000;

void addSeconds(time_t& seconds, time_t more)
{
    if (__builtin_add_overflow(seconds, more, &seconds))
        seconds = std::numeric_limits<time_t>::max();
}

} // namespace

Conditional::Conditional() // NOLINT(cppcoreguidelines-pro-type-member-init)
{
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&_condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

Conditional::~Conditional()
{
    pthread_cond_destroy(&_condition);
}

void Conditional::wait(Mutex& mutex)
{
    pthread_cond_wait(&_condition, &mutex._mutex);
}

void Conditional::wait(CheckedMutex& mutex)
{
    pthread_cond_wait(&_condition, &mutex._mutex);
}

bool Conditional::relTimedWait(Mutex& mutex, timespec relative)
{
    return relTimedWait(&mutex._mutex, relative);
}

bool Conditional::relTimedWait(CheckedMutex& mutex, timespec relative)
{
    return relTimedWait(&mutex._mutex, relative);
}

timespec Conditional::getDeadline(timespec now, timespec relative)
{
    timespec deadline = now;
    addSeconds(deadline.tv_sec, relative.tv_sec);
    // Nanoseconds out of range may wrap here; the wait refuses what comes out.
    __builtin_add_overflow(deadline.tv_nsec, relative.tv_nsec, &deadline.tv_nsec);
    if (deadline.tv_nsec >= NANOSECONDS_PER_SECOND) {
        deadline.tv_nsec -= NANOSECONDS_PER_SECOND;
        addSeconds(deadline.tv_sec, 1);
    }
    return deadline;
}

bool Conditional::relTimedWait(pthread_mutex_t* mutex, const timespec& relative)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const timespec deadline = getDeadline(now, relative);
    return pthread_cond_timedwait(&_condition, mutex, &deadline) == ETIMEDOUT;
}

} // namespace Ostrel
