#include "ostrel/SysCalls.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ostrel/Report.h"
#include "ostrel/internal/Descriptor.h"

namespace SysCalls {

namespace {

constexpr int LINE_WRITE = 96;
constexpr int LINE_READ = 101;
constexpr int LINE_FFLUSH = 131;
constexpr int LINE_FSYNC = 136;
constexpr int LINE_ACCEPT = 151;
constexpr int LINE_POLL = 156;
constexpr int LINE_SELECT = 165;
constexpr int LINE_STAT = 170;

[[gnu::cold]] void reportError(int line)
{
    const int error = errno; // the policy makes calls of its own
    OSTREL_REPORT_AT(RECOVERABLE, line, "syscall errno: %d", error);
    errno = error;
}

/// `call` gives -1 when it fails, which is also what EOF is.
template <class Call>
int callReported(int line, Call call)
{
    const int result = static_cast<int>(Ostrel::retryInterrupted(call));
    if (result == -1 && errno != EAGAIN)
        reportError(line);
    return result;
}

/// `call` moves bytes from (to) where it is told and gives their count, 0 when no more will come, or -1.
template <class Call, class Byte>
int moveAll(Call call, int fd, Byte* buffer, unsigned int length)
{
    unsigned int total = 0; // beyond INT_MAX the result wraps
    while (length > 0) {
        const int count = call(fd, buffer, length);
        if (count == -1)
            return -1;
        if (count == 0)
            break;
        buffer += count;
        length -= static_cast<unsigned int>(count);
        total += static_cast<unsigned int>(count);
    }
    return static_cast<int>(total);
}

} // namespace

int write(int fd, const void* buffer, unsigned int length)
{
    return callReported(LINE_WRITE, [=] { return ::write(fd, buffer, length); });
}

int read(int fd, void* buffer, unsigned int length)
{
    return callReported(LINE_READ, [=] { return ::read(fd, buffer, length); });
}

int fflush(FILE* file)
{
    return callReported(LINE_FFLUSH, [=] { return ::fflush(file); });
}

int fsync(int fd)
{
    return callReported(LINE_FSYNC, [=] { return ::fsync(fd); });
}

int accept(int fd, struct ::sockaddr* address, unsigned int* length)
{
    return callReported(LINE_ACCEPT, [=] { return ::accept(fd, address, length); });
}

int poll(struct ::pollfd* descriptors, unsigned int count, int timeOutMs)
{
    return callReported(LINE_POLL, [=] { return ::poll(descriptors, count, timeOutMs); });
}

int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, struct ::timeval* timeOut)
{
    return callReported(LINE_SELECT, [=] { return ::select(count, readable, writable, exceptional, timeOut); });
}

int stat(const char* path, struct ::stat* result)
{
    return callReported(LINE_STAT, [=] { return ::stat(path, result); });
}

int connect(int fd, const struct ::sockaddr* address, unsigned int length)
{
    return Ostrel::retryInterrupted([=] { return ::connect(fd, address, length); });
}

int open(const char* path, int flags, unsigned int mode)
{
    return ::open(path, flags, mode);
}

int close(int fd)
{
    return ::close(fd);
}

int closedir(DIR* directory)
{
    return ::closedir(directory);
}

int setThreadName(const char* name)
{
    return prctl(PR_SET_NAME, name);
}

int writeAll(int fd, const void* buffer, unsigned int length)
{
    return moveAll(SysCalls::write, fd, static_cast<const unsigned char*>(buffer), length);
}

int readAll(int fd, void* buffer, unsigned int length)
{
    return moveAll(SysCalls::read, fd, static_cast<unsigned char*>(buffer), length);
}

} // namespace SysCalls
