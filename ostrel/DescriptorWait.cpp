#include "ostrel/internal/DescriptorWait.h"

#include <poll.h>
#include <sys/select.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace Ostrel {

namespace {

timeval getMonotonicTime()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    timeval time;
    time.tv_sec = now.tv_sec;
    time.tv_usec = now.tv_nsec / 1000;
    return time;
}

void takeOff(timeval& timeOut, const timeval& elapsed)
{
    const timeval all = timeOut;
    timerclear(&timeOut);
    if (timercmp(&all, &elapsed, >))
        timersub(&all, &elapsed, &timeOut);
}

/// `poll` in place of `select`, with the results and the shrinking time-out of the latter.
int pollUntilReadable(int fd, timeval& timeOut)
{
    const timeval begin = getMonotonicTime();
    pollfd descriptor = {fd, POLLIN, 0};
    const timespec limit = {timeOut.tv_sec, timeOut.tv_usec * 1000L};
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

} // namespace

timeval toTimeVal(unsigned int seconds)
{
    timeval time;
    time.tv_sec = static_cast<time_t>(std::min(seconds, static_cast<unsigned int>(INT_MAX)));
    time.tv_usec = 0;
    return time;
}

int waitUntilReadable(int fd, timeval& timeOut)
{
    if (fd < 0) {
        errno = EBADF; // a stdio file in memory has no descriptor
        return -1;
    }
    // The set has no room for greater numbers: FD_SET would write behind it.
    if (fd >= FD_SETSIZE)
        return pollUntilReadable(fd, timeOut);

    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    return select(FD_SETSIZE, &readable, nullptr, nullptr, &timeOut); // Linux leaves the rest in `timeOut`
}

} // namespace Ostrel
