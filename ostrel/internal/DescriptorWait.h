/// Not installed: internal to the library.
///
/// Waiting for a descriptor, for the streams.
#pragma once

#include <sys/time.h>

namespace Ostrel {

/// Whole seconds, at most INT_MAX so that a 32-bit `time_t` takes them too.
timeval toTimeVal(unsigned int seconds);

/// As `select` with `fd` alone in the read set: 1 when reading would not block, 0 when the time is up, -1 with `errno`.
/// The time waited is taken off `timeOut`. Any descriptor number is allowed; a negative one gives EBADF.
int waitUntilReadable(int fd, timeval& timeOut);

} // namespace Ostrel
