#include "ostrel/CppTimer.h"

#include <optional>

#include "tests/support/ReportTest.h"
#include "tests/support/TemporaryFile.h"
#include "tests/support/Waiting.h"

using Ostrel::Timer;

namespace {

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

} // namespace

using TimerTest = ReportTest;

TEST_F(TimerTest, EndedWaitsLeaveNothing)
{
    const int before = getNextDescriptor();
    for (int round = 0; round < 20; ++round) {
        Waiter waiter(600);
        bool isSent = false;
        std::thread([&] {
            pthread_cancel(pthread_self());
            waiter.timer.reset();
            isSent = true;
        }).join();
        EXPECT_TRUE(isSent) << "a sender is not cancelled with the lock in its hands";
        if (round < 10)
            waiter.timer.stop();
        else
            pthread_cancel(waiter.thread.native_handle());
        waiter.thread.join();
        waiter.timer.stop(); // lost
        EXPECT_EQ(waiter.timer.waitSeconds(-1), Timer::WAIT_ENDED);
    }
    EXPECT_EQ(getNextDescriptor(), before);
}

TEST_F(TimerTest, EndsWhileASenderIsHeldUp)
{
    static std::atomic<bool> isHeld;
    isHeld = true;
    signal(SIGUSR1, [](int) { eventually([] { return !isHeld; }); });
    Waiter waiter(600);
    pthread_kill(waiter.thread.native_handle(), SIGUSR1); // reads nothing for now
    std::thread sender([&] {
        for (int i = 0; i < 10000; ++i) // far more than the socket takes
            waiter.timer.stop();
    });
    pollfd descriptor = {waiter.commandSocket, POLLOUT, 0};
    EXPECT_TRUE(eventually([&] { return poll(&descriptor, 1, 0) == 0; })) << "the socket is full";
    isHeld = false;
    waiter.thread.join();
    sender.join();
}

TEST_F(TimerTest, ResetStartsTheIntervalAnew)
{
    std::optional<Waiter> waiter;
    for (bool isLate = true; isLate;) { // on a machine so busy that the wait may be over
        const auto waitAndReset = [&] {
            waiter.emplace(1);
            usleep(300000);
            waiter->timer.reset();
        };
        isLate = getDurationMs(waitAndReset) >= 1000;
        waiter->thread.join();
        EXPECT_GE(waiter->duration, isLate ? 1000 : 1300);
    }
}

TEST_F(TimerTest, InterruptedWaitDoublesWhatHasPassed)
{
    signal(SIGUSR1, [](int) {});
    Waiter waiter(600);
    for (int pause = 300; waiter.duration == 0; pause *= 3) { // outruns what a step of the wall clock adds
        usleep(pause * 1000);
        pthread_kill(waiter.thread.native_handle(), SIGUSR1);
    }
    waiter.thread.join();
    EXPECT_GE(waiter.duration, 400) << "does not end at once";
    EXPECT_LT(waiter.duration, 600000);
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
