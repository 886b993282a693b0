#pragma once

#include <cstdio>
#include <dirent.h>
#include <sys/select.h>

#include "ostrel/Config.h"
#include "ostrel/Export.h"

struct pollfd;
struct sockaddr;
struct stat;
struct timeval;

/// System calls under one policy: interrupted ones are made again, a descriptor that is not ready is no event, and
/// every other failure is reported. Results are those of the calls.
///
///     unsigned char header[16];
///     const int count = SysCalls::readAll(STDIN_FILENO, header, sizeof(header));
///
/// Include this from sources, never from headers: the names are those of the C library.
///
/// Units:     lengths are bytes, times as in the wrapped call.
/// Errors:    a failure other than EINTR and EAGAIN makes a recoverable report "syscall errno: %d"; `errno` is left as
///            the call set it.
/// Threads:   as the wrapped calls; those that block are cancellation points.
namespace SysCalls {

/// All as the calls of that name.
OSTREL_EXPORT int write(int fd, const void* buffer, unsigned int length);
OSTREL_EXPORT int read(int fd, void* buffer, unsigned int length);
OSTREL_EXPORT int fflush(FILE* file);
OSTREL_EXPORT int fsync(int fd);
OSTREL_EXPORT int accept(int fd, struct ::sockaddr* address, unsigned int* length);

/// After an interruption the whole interval is waited again.
OSTREL_EXPORT int poll(struct ::pollfd* descriptors, unsigned int count, int timeOutMs);

/// After an interruption the call is repeated with what it left in its arguments: on Linux, the rest of the time.
OSTREL_EXPORT int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, struct ::timeval* timeOut);

/// As the call of that name.
OSTREL_EXPORT int stat(const char* path, struct ::stat* result);

/// Repeated when interrupted; reports nothing, since a peer that is absent is an ordinary answer.
OSTREL_EXPORT int connect(int fd, const struct ::sockaddr* address, unsigned int length);

/// All as the calls of that name, neither repeated nor reported: the number of an interrupted close may be in use again
/// already.
OSTREL_EXPORT int open(const char* path, int flags, unsigned int mode);
OSTREL_EXPORT int close(int fd);
OSTREL_EXPORT int closedir(DIR* directory);

/// Names the calling thread for the kernel, which keeps 15 bytes.
OSTREL_EXPORT int setThreadName(const char* name);

/// All bytes are moved, by repeating `write` (`read`). The count; for `readAll` less than `length` at the end of the
/// file; -1 after any failure, EAGAIN included, even if bytes were moved: how many is then unknown.
OSTREL_EXPORT int writeAll(int fd, const void* buffer, unsigned int length);
OSTREL_EXPORT int readAll(int fd, void* buffer, unsigned int length);

} // namespace SysCalls
