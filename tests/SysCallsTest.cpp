#include "ostrel/SysCalls.h"

#include <dirent.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "tests/support/ReportTest.h"

class SysCallsTest : public ReportTest
{
protected:
    char buffer[100000] = {};
};

TEST_F(SysCallsTest, FailuresAreReportedAndLeaveTheErrorNumber)
{
    struct stat status;
    const std::unique_ptr<FILE, int (*)(FILE*)> full(fopen("/dev/full", "w"), fclose);
    fputc('x', full.get());
    const std::tuple<int, int, std::function<int()>> CASES[] = {
        {96, EBADF, [&] { return SysCalls::write(-1, buffer, 1); }},
        {101, EBADF, [&] { return SysCalls::readAll(-1, buffer, 1); }},
        {131, ENOSPC, [&] { return SysCalls::fflush(full.get()); }},
        {136, EBADF, [&] { return SysCalls::fsync(-1); }},
        {151, EBADF, [&] { return SysCalls::accept(-1, nullptr, nullptr); }},
        {156, EINVAL, [&] { return SysCalls::poll(nullptr, 0x10000000, 0); }},
        {165, EINVAL, [&] { return SysCalls::select(-1, nullptr, nullptr, nullptr, nullptr); }},
        {170, ENOENT, [&] { return SysCalls::stat("no-such-file", &status); }},
    };
    for (const auto& [line, error, call] : CASES) {
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(errno, error);
        const std::string text = "'syscall errno: " + std::to_string(error) + "'";
        expectReport(Ostrel::Severity::RECOVERABLE, "SysCalls", line, text.c_str());
    }
    const sockaddr address = {};
    EXPECT_EQ(SysCalls::connect(-1, &address, sizeof(address)), -1) << "silent";
    EXPECT_EQ(SysCalls::open("no-such-file", O_RDONLY, 0), -1) << "silent";
    EXPECT_EQ(SysCalls::close(-1), -1) << "silent";
    EXPECT_EQ(SysCalls::closedir(opendir(".")), 0);
}

TEST_F(SysCallsTest, WhatIsNotReadyIsSilent)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    EXPECT_EQ(SysCalls::read(ends[0], buffer, 1), -1);
    EXPECT_EQ(SysCalls::writeAll(ends[1], buffer, sizeof(buffer)), -1) << "after a part was written";
    EXPECT_EQ(SysCalls::write(ends[1], buffer, sizeof(buffer)), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_GT(SysCalls::read(ends[0], buffer, sizeof(buffer)), 0);
    EXPECT_EQ(SysCalls::writeAll(ends[1], "abc", 3), 3);
    EXPECT_EQ(SysCalls::close(ends[1]), 0);
    EXPECT_EQ(SysCalls::readAll(ends[0], buffer, 0), 0);
    EXPECT_EQ(SysCalls::readAll(ends[0], buffer, 10), 3) << "up to the end";
    EXPECT_EQ(SysCalls::close(ends[0]), 0);
}

TEST_F(SysCallsTest, InterruptedCallsAreMadeAgain)
{
    static int ends[2], interruptions;
    ASSERT_EQ(pipe(ends), 0);
    struct sigaction action = {}; // without SA_RESTART
    action.sa_handler = [](int) {
        if (++interruptions % 5 == 0 && write(ends[1], "abc", 3) != 3)
            abort();
    };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval on = {{0, 10000}, {0, 10000}}, off = {};
    pollfd descriptor = {ends[0], POLLIN, 0};
    setitimer(ITIMER_REAL, &on, nullptr);
    EXPECT_EQ(SysCalls::poll(&descriptor, 1, -1), 1);
    EXPECT_EQ(SysCalls::readAll(ends[0], buffer, 6), 6) << "of which three are still to come";
    setitimer(ITIMER_REAL, &off, nullptr);
    EXPECT_STREQ(buffer, "abcabc");
    EXPECT_EQ(SysCalls::close(ends[0]) + SysCalls::close(ends[1]), 0);
}
