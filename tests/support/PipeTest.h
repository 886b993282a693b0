#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "ostrel/InputStream.h"

/// The text of one read, or "failed".
inline std::string readText(Ostrel::InputStream& in, unsigned int size)
{
    unsigned char buffer[64];
    const int count = in.read(buffer, size);
    return count < 0 ? "failed" : std::string(buffer, buffer + count);
}

inline const unsigned char* bytes(const char* text)
{
    return reinterpret_cast<const unsigned char*>(text);
}

inline bool isOpen(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

inline bool isNonBlocking(int fd)
{
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}

/// A test over a pipe, once with a usual descriptor and once with one that does not fit in an `fd_set`.
class PipeTest : public testing::TestWithParam<bool>
{
protected:
    void SetUp() override
    {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        reader = fcntl(ends[0], F_DUPFD, GetParam() ? FD_SETSIZE : 0);
        writer = ends[1];
        close(ends[0]);
        if (reader < 0)
            GTEST_SKIP() << "no descriptors beyond FD_SETSIZE here";
    }

    void TearDown() override
    {
        close(reader); // fails when the test has given it away; nobody opens others meanwhile
        close(writer);
    }

    void send(const std::string& text) const
    {
        EXPECT_EQ(write(writer, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    /// Lets the reader catch up.
    void waitUntilEmpty() const
    {
        for (int waiting = 1; ioctl(reader, FIONREAD, &waiting) == 0 && waiting != 0;)
            sched_yield();
    }

    int reader = -1;
    int writer = -1;
};

/// Interrupts the system calls of this thread every 10 ms while it lives: there is no SA_RESTART. With ITIMER_PROF the
/// time counts only while the program works, not while it waits.
class Interruptions
{
public:
    /// Interruption number `when` writes "abc" to `fd`.
    explicit Interruptions(__itimer_which timer, int when = 0, int fd = -1) : _timer(timer)
    {
        _count = 0;
        _when = when;
        _fd = fd;
        struct sigaction action = {};
        action.sa_handler = handle;
        sigaction(timer == ITIMER_REAL ? SIGALRM : SIGPROF, &action, nullptr);
        const itimerval running = {{0, 10000}, {0, 10000}};
        setitimer(timer, &running, nullptr);
    }

    ~Interruptions()
    {
        const itimerval off = {};
        setitimer(_timer, &off, nullptr);
    }

private:
    static void handle(int)
    {
        if (++_count == _when && write(_fd, "abc", 3) != 3)
            abort();
    }

    static inline volatile sig_atomic_t _count;
    static inline volatile sig_atomic_t _when;
    static inline volatile sig_atomic_t _fd;
    __itimer_which _timer;
};
