#include "ostrel/CppTimer.h"

#include <thread>

#include "ostrel/SocketPair.h"
#include "tests/support/Eventually.h"
#include "tests/support/PipeTest.h"
#include "tests/support/RecordingPolicy.h"

using Ostrel::Severity;
using Ostrel::SocketPair;
using Ostrel::Timer;

namespace {

/// The number that the next descriptor gets.
int getNextDescriptor()
{
    const int fd = dup(0);
    close(fd);
    return fd;
}

/// A thread in `waitSeconds`.
struct Waiter
{
    explicit Waiter(int seconds)
        : thread([=] { duration = getDurationMs([=] { EXPECT_EQ(timer.waitSeconds(seconds), -1); }); })
    {
        EXPECT_TRUE(eventually([this] { return isOpen(commandSocket); })) << "the wait has begun";
    }

    Timer timer;
    std::atomic<long long> duration{0};
    const int commandSocket = getNextDescriptor();
    std::thread thread;
};

void sleepMs(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void setDescriptorLimit(rlim_t limit)
{
    rlimit limits;
    getrlimit(RLIMIT_NOFILE, &limits);
    limits.rlim_cur = std::min(limit, limits.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limits);
}

} // namespace

class TimerTest : public ReportTest
{};

TEST_F(TimerTest, StopEndsTheWaitAndLeavesNothing)
{
    setDescriptorLimit(FD_SETSIZE + 50);
    const int before = getNextDescriptor();
    for (int round = 0; round < 50; ++round) {
        Waiter waiter(600);
        waiter.timer.reset();
        if (round < 40)
            waiter.timer.stop();
        else
            pthread_cancel(waiter.thread.native_handle());
        waiter.thread.join();
        waiter.timer.stop(); // lost
        EXPECT_EQ(waiter.timer.waitSeconds(-1), Timer::WAIT_ENDED);
        if (round == 10) { // from here on with descriptors that `select` cannot take
            while (dup(0) < FD_SETSIZE - 1) {
            }
        }
        if (round == 20)
            close_range(static_cast<unsigned int>(before), FD_SETSIZE, 0);
    }
    EXPECT_EQ(getNextDescriptor(), before);
}

TEST_F(TimerTest, ResetStartsTheIntervalAnew)
{
    for (bool isLate = true; isLate;) { // on a busy machine
        Waiter waiter(2);
        sleepMs(500);
        waiter.timer.reset();
        isLate = waiter.duration != 0;
        EXPECT_GE(getDurationMs([&] { waiter.thread.join(); }), isLate ? 0 : 1900);
    }
}

TEST_F(TimerTest, InterruptedWaitDoublesWhatHasPassed)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    Waiter waiter(600);
    sleepMs(300);
    for (int i = 0; i < 10; ++i) { // one of them at least interrupts
        pthread_kill(waiter.thread.native_handle(), SIGUSR1);
        sleepMs(1);
    }
    waiter.thread.join();
    EXPECT_GE(waiter.duration, 590);
    EXPECT_LT(waiter.duration, 60000);
}

TEST_F(TimerTest, WithoutDescriptorsItJustSleeps)
{
    setDescriptorLimit(0);
    Timer timer;
    EXPECT_GE(getDurationMs([&] { timer.waitSeconds(1); }), 990);
    EXPECT_EQ(SocketPair().setBlocking(true, 0), -1);
    setDescriptorLimit(RLIM_INFINITY);
    const char* const CREATE = "0 == socketpair(AF_UNIX, SOCK_STREAM, 0, _sockets)";
    expectFailedCheck(Severity::FATAL, "SocketPair", 35, CREATE);
    expectFailedCheck(Severity::FATAL, "SocketPair", 27, "rc == 0");
    expectFailedCheck(Severity::FATAL, "SocketPair", 27, "rc == 0");
}

TEST(TimerDeathTest, PartOfACommandStopsTheProcess)
{
    const auto sendPart = [] {
        Waiter waiter(60);
        if (write(waiter.commandSocket, "x", 1) == 1)
            waiter.thread.join();
    };
    EXPECT_DEATH(sendPart(), "CppTimer.cpp:150: .*Assertion `rc == 4' failed");
}

TEST_F(TimerTest, SocketPairIsConnectedAndClosed)
{
    const int before = getNextDescriptor();
    {
        SocketPair pair;
        char byte = 0;
        EXPECT_EQ(write(pair.getSocket(0), "a", 1), 1);
        EXPECT_EQ(read(pair.getSocket(1), &byte, 1), 1);
        EXPECT_EQ(pair.getSocket(2), -1);
        EXPECT_EQ(pair.setBlocking(false, 2), -1);
        EXPECT_EQ(pair.setBlocking(false, 1), 0);
        EXPECT_TRUE(isNonBlocking(pair.getSocket(1)) && !isNonBlocking(pair.getSocket(0)));
        EXPECT_EQ(pair.setBlocking(true, 1), 0);
        EXPECT_FALSE(isNonBlocking(pair.getSocket(1)));
    }
    EXPECT_EQ(getNextDescriptor(), before);
}

TEST(TimevalTest, Subtracts)
{
    timeval CASES[][4] = {
        // x, y, difference, y afterwards
        {{5, 200}, {3, 500}, {1, 999700}, {4, -999500}},     {{5, 500}, {3, 500}, {2, 0}, {3, 500}},
        {{3, 0}, {3, 1}, {-1, 999999}, {4, -999999}},        {{3, 1}, {4, 0}, {-1, 1}, {4, 0}},
        {{9, 0}, {3, 2500000}, {3, 500000}, {6, -500000}},   {{9, 1000000}, {3, 0}, {6, 1000000}, {3, 0}},
        {{9, 2500000}, {3, 0}, {4, 4500000}, {5, -2000000}},
    };
    for (auto& [x, y, difference, yAfterwards] : CASES) {
        timeval result;
        EXPECT_EQ(Ostrel::timeval_subtract(&result, &x, &y), difference.tv_sec < 0 ? 1 : 0);
        EXPECT_TRUE(timercmp(&result, &difference, ==)) << result.tv_sec << " " << result.tv_usec;
        EXPECT_TRUE(timercmp(&y, &yAfterwards, ==)) << y.tv_sec << " " << y.tv_usec;
    }
}
