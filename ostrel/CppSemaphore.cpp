#include "ostrel/CppSemaphore.h"

#include <cerrno>
#include <limits>
#include <time.h>

#include "ostrel/internal/Descriptor.h"

namespace Ostrel {

namespace {

constexpr int LINE_INIT = 23;
constexpr int LINE_DESTROY = 28;
constexpr int LINE_TIMED_WAIT = 61;
constexpr int LINE_VALUE = 94;

int waitUntilDeadline(sem_t* semaphore, int seconds)
{
    timespec deadline;
    if (clock_gettime(CLOCK_REALTIME, &deadline) == -1)
        return -1;
    if (__builtin_add_overflow(deadline.tv_sec, seconds, &deadline.tv_sec))
        deadline.tv_sec = std::numeric_limits<time_t>::max();
    return sem_timedwait(semaphore, &deadline);
}

} // namespace

Semaphore::Semaphore(unsigned int initialValue) : m_sem()
{
    OSTREL_CHECK_AT(FATAL, LINE_INIT, "-1 != sem_init(&m_sem, 0, initialValue)",
                    -1 != sem_init(&m_sem, 0, initialValue));
}

Semaphore::~Semaphore()
{
    OSTREL_CHECK_AT(FATAL, LINE_DESTROY, "-1 != sem_destroy(&m_sem)", -1 != sem_destroy(&m_sem));
}

void Semaphore::timedWait(int seconds)
{
    // With a full new interval each time.
    const int rc = retryInterrupted([&] { return waitUntilDeadline(&m_sem, seconds); });
    OSTREL_CHECK_AT(FATAL, LINE_TIMED_WAIT, "-1 != rc", -1 != rc || errno == ETIMEDOUT);
}

bool Semaphore::tryWait()
{
    return -1 != retryInterrupted([this] { return sem_trywait(&m_sem); });
}

int Semaphore::value()
{
    int retval = 0;
    OSTREL_CHECK_AT(FATAL, LINE_VALUE, "-1 != sem_getvalue(&m_sem, &retval)", -1 != sem_getvalue(&m_sem, &retval));
    return retval;
}

} // namespace Ostrel
