
#include "ostrel/CppSemaphore.h"
#include "tests/support/ReportTest.h"
#include "tests/support/Waiting.h"

using Ostrel::Semaphore;
using Ostrel::Severity;

static std::atomic<int> interruptions{0};

/// Lets `signal` interrupt system calls, from now on.
static void count(int signal)
{
    interruptions = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { ++interruptions; };
    sigaction(signal, &action, nullptr);
}

using SemaphoreTest = ReportTest;

TEST_F(SemaphoreTest, CountsItsUnits)
{
    Semaphore semaphore(2);
    EXPECT_EQ(semaphore.value(), 2);
    EXPECT_TRUE(semaphore.tryWait());
    semaphore.wait();
    EXPECT_FALSE(semaphore.tryWait());
    semaphore.post();
    semaphore.timedWait(60);
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

TEST_F(SemaphoreTest, WaitGoesOnAfterASignal)
{
    count(SIGUSR1);
    Semaphore semaphore(0);
    std::thread waiter([&] { semaphore.wait(); });
    // Sent until seen: a thread sanitizer holds back what arrives just before the thread falls asleep.
    EXPECT_TRUE(eventually([&] {
        pthread_kill(waiter.native_handle(), SIGUSR1);
        return interruptions >= 50;
    }));
    semaphore.post();
    waiter.join();
    EXPECT_EQ(semaphore.value(), 0) << "the signals took no part in it";
}

TEST_F(SemaphoreTest, InterruptedTimedWaitStartsAnew)
{
    count(SIGALRM);
    Semaphore semaphore(0);
    itimerval once = {{0, 0}, {0, 300000}};
    setitimer(ITIMER_REAL, &once, nullptr);
    EXPECT_GE(getDurationMs([&] { semaphore.timedWait(1); }), 1250);
    EXPECT_EQ(interruptions, 1);
}
