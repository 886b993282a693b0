#include <atomic>
#include <csignal>
#include <sys/time.h>
#include <thread>

#include "ostrel/CppSemaphore.h"
#include "tests/support/Eventually.h"
#include "tests/support/RecordingPolicy.h"

using Ostrel::Semaphore;
using Ostrel::Severity;

namespace {

std::atomic<int> interruptions{0};

/// Makes `signal` interrupt system calls for as long as it lives.
class Interruption
{
public:
    explicit Interruption(int signal) : _signal(signal)
    {
        interruptions = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { ++interruptions; };
        sigaction(signal, &action, &_former);
    }
    ~Interruption() { sigaction(_signal, &_former, nullptr); }

private:
    int _signal;
    struct sigaction _former;
};

} // namespace

class SemaphoreTest : public ReportTest
{};

TEST_F(SemaphoreTest, CountsItsUnits)
{
    Semaphore semaphore(2);
    EXPECT_EQ(semaphore.value(), 2);
    EXPECT_TRUE(semaphore.tryWait());
    semaphore.wait();
    EXPECT_FALSE(semaphore.tryWait());
    semaphore.post();
    semaphore.timedWait(60);
    EXPECT_EQ(semaphore.value(), 0);
    semaphore.timedWait(0);
    semaphore.timedWait(-1);
    EXPECT_EQ(semaphore.value(), 0);
}

TEST_F(SemaphoreTest, LimitsAreReportedAndSurvived)
{
    Semaphore tooMany(0x80000000u);
    expectFailedCheck(Severity::FATAL, "CppSemaphore", 23, "-1 != sem_init(&m_sem, 0, initialValue)");

    Semaphore full(0x7FFFFFFFu);
    full.post();
    expectFailedCheck(Severity::FATAL, "CppSemaphore", 66, "-1 != sem_post(&m_sem)");
    EXPECT_EQ(full.value(), 0x7FFFFFFF);
}

TEST_F(SemaphoreTest, TwoThreadsTakeTurns)
{
    Semaphore ping(0);
    Semaphore pong(0);
    int turns = 0;
    std::thread other([&] {
        for (int i = 0; i < 1000; ++i) {
            ping.wait();
            ++turns;
            pong.post();
        }
    });
    for (int i = 0; i < 1000; ++i) {
        ping.post();
        pong.timedWait(60);
        ASSERT_EQ(turns, i + 1);
    }
    other.join();
}

TEST_F(SemaphoreTest, WaitGoesOnAfterASignal)
{
    const Interruption interruption(SIGUSR1);
    Semaphore semaphore(0);
    std::atomic<bool> returned{false};
    std::thread waiter([&] {
        semaphore.wait();
        returned = true;
    });
    for (int i = 0; i < 50; ++i) {
        pthread_kill(waiter.native_handle(), SIGUSR1);
        ASSERT_TRUE(eventually([&] { return interruptions > i; }));
    }
    EXPECT_FALSE(returned);
    semaphore.post();
    waiter.join();
    EXPECT_EQ(semaphore.value(), 0);
}

TEST_F(SemaphoreTest, InterruptedTimedWaitStartsAnew)
{
    const Interruption interruption(SIGALRM);
    Semaphore semaphore(0);
    itimerval once = {{0, 0}, {0, 300000}};
    setitimer(ITIMER_REAL, &once, nullptr);
    EXPECT_GE(getDurationMs([&] { semaphore.timedWait(1); }), 1250);
    EXPECT_EQ(interruptions, 1);
}
