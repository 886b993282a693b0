/// Not installed: internal to the library.
///
/// System calls as the streams, locks and timers need them.
#pragma once

#include <sys/time.h>

#include <cerrno>

namespace Ostrel {

/// The result of `call`, which gives -1 when it fails; made again for as long as signals interrupt it.
template <class Call>
auto retryInterrupted(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

/// Sets the mode for all who share the open file description. 0, or -1 with `errno`.
int setDescriptorBlocking(int fd, bool blocking);

/// Whole seconds, at most INT_MAX so that a 32-bit `time_t` takes them too.
timeval toTimeVal(unsigned int seconds);

/// 1 when reading would not block, 0 when the time is up, -1 with `errno` (EBADF; EINTR; EINVAL for a negative time).
/// The time waited is taken off `timeOut`. A negative `fd` stands for none: the time passes.
int waitUntilReadable(int fd, timeval& timeOut);

} // namespace Ostrel
