#include "ostrel/internal/Descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <time.h>

#include <algorithm>
#include <climits>

namespace Ostrel {

namespace {

const long MICROSECONDS_PER_SECOND = 1000000;

timeval getMonotonicTime()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    timeval time;
    time.tv_sec = now.tv_sec;
    time.tv_usec = now.tv_nsec / 1000;
    return time;
}

/// Takes microseconds beyond a second too, as `select` does: the rest of a timer's wait comes with such.
timespec toTimeSpec(const timeval& time)
{
    timespec result;
    result.tv_sec = time.tv_sec + time.tv_usec / MICROSECONDS_PER_SECOND;
    result.tv_nsec = static_cast<long>(time.tv_usec % MICROSECONDS_PER_SECOND * 1000);
    return result;
}

void takeOff(timeval& timeOut, const timeval& elapsed)
{
    const timeval all = timeOut;
    timerclear(&timeOut);
    if (timercmp(&all, &elapsed, >))
        timersub(&all, &elapsed, &timeOut);
}

} // namespace

int setDescriptorBlocking(int fd, bool blocking)
{
    const int flags = fcntl(fd, F_GETFL);
    if (flags == -1)
        return -1;
    const int wanted = blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
    return retryInterrupted([=] { return fcntl(fd, F_SETFL, wanted); });
}

timeval toTimeVal(unsigned int seconds)
{
    timeval time;
    time.tv_sec = static_cast<time_t>(std::min(seconds, static_cast<unsigned int>(INT_MAX)));
    time.tv_usec = 0;
    return time;
}

/// Not `select`: its sets have no room for great numbers.
int waitUntilReadable(int fd, timeval& timeOut)
{
    const timeval begin = getMonotonicTime();
    pollfd descriptor = {fd, POLLIN | POLLRDNORM | POLLRDBAND, 0};
    const timespec limit = toTimeSpec(timeOut);
    const int result = ppoll(&descriptor, 1, &limit, nullptr);
    const int error = errno;

    timeval elapsed;
    const timeval end = getMonotonicTime();
    timersub(&end, &begin, &elapsed);
    takeOff(timeOut, elapsed);

    errno = error;
    if (result == 1 && (descriptor.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    return result;
}

} // namespace Ostrel
