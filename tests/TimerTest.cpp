#include "ostrel/CppTimer.h"

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#include "ostrel/SocketPair.h"
#include "tests/support/Eventually.h"
#include "tests/support/RecordingPolicy.h"

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
        EXPECT_TRUE(eventually([this] { return fcntl(commandSocket, F_GETFD) != -1; })) << "the wait has begun";
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

bool isNonBlocking(int fd)
{
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}

} // namespace

class TimerTest : public ReportTest
{};

TEST_F(TimerTest, StopEndsTheWaitAndLeavesNothing)
{
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
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
            while (limit.rlim_max > FD_SETSIZE + 8 && dup(0) < FD_SETSIZE - 1) {
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

TEST_F(TimerTest, SocketPairMode)
{
    SocketPair pair;
    EXPECT_EQ(pair.setBlocking(false, 2), -1);
    EXPECT_EQ(pair.setBlocking(false, 1), 0);
    EXPECT_TRUE(isNonBlocking(pair.getSocket(1)) && !isNonBlocking(pair.getSocket(0)));
    EXPECT_EQ(pair.setBlocking(true, 1), 0);
    EXPECT_FALSE(isNonBlocking(pair.getSocket(1)));
}

TEST(TimevalTest, Subtracts)
{
    timeval CASES[][4] = {
        // x, y, difference, y afterwards
        {{5, 200}, {3, 500}, {1, 999700}, {4, -999500}},
        {{3, 0}, {3, 1}, {-1, 999999}, {4, -999999}},
        {{9, 1000000}, {3, 0}, {6, 1000000}, {3, 0}},
        {{9, 2500000}, {3, 0}, {4, 4500000}, {5, -2000000}},
    };
    for (auto& [x, y, difference, yAfterwards] : CASES) {
        timeval result;
        EXPECT_EQ(Ostrel::timeval_subtract(&result, &x, &y), difference.tv_sec < 0 ? 1 : 0);
        EXPECT_TRUE(timercmp(&result, &difference, ==)) << result.tv_sec << " " << result.tv_usec;
        EXPECT_TRUE(timercmp(&y, &yAfterwards, ==)) << y.tv_sec << " " << y.tv_usec;
    }
}
