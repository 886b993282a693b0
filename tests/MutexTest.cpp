#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "ostrel/Conditional.h"
#include "ostrel/Mutex.h"
#include "ostrel/ReadWriteLock.h"
#include "tests/support/Eventually.h"

using Ostrel::CheckedMutex;
using Ostrel::Conditional;
using Ostrel::Mutex;
using Ostrel::NestedScopeLock;
using Ostrel::NestedScopeUnlock;
using Ostrel::ReadWriteLock;

namespace Ostrel {

/// What guards and locks keep to themselves.
class LockProbe
{
public:
    static bool hasLocked(const NestedScopeLock& guard) { return guard._locked != nullptr; }

    static bool hasWaiting(ReadWriteLock& lock, int readers, int writers)
    {
        lock._mutex.lock();
        const bool has = lock._waitingReaders == readers && lock._waitingWriters == writers;
        lock._mutex.unlock();
        return has;
    }
};

} // namespace Ostrel

namespace {

/// Asks from another thread, as the owner's own tries tell nothing.
bool isHeld(CheckedMutex& mutex)
{
    bool wasFree = false;
    std::thread([&] {
        const NestedScopeLock guard(mutex, 0, 1);
        wasFree = Ostrel::LockProbe::hasLocked(guard);
    }).join();
    return !wasFree;
}

bool areWaiting(ReadWriteLock& lock, int readers, int writers)
{
    return eventually([&] { return Ostrel::LockProbe::hasWaiting(lock, readers, writers); });
}

} // namespace

TEST(MutexDeathTest, LettingGoOfWhatIsNotHeldStopsTheProcess)
{
    CheckedMutex mutex;
    EXPECT_DEATH(NestedScopeUnlock guard(mutex), "Mutex.cpp:102: .*Assertion `false' failed");
}

TEST(MutexTest, OnlyTheOutermostGuardUnlocks)
{
    CheckedMutex mutex;
    {
        NestedScopeLock outer(mutex);
        {
            NestedScopeLock inner(mutex);
            NestedScopeLock trying(mutex, 0, 2); // the holder's own tries fail as anybody's do
        }
        EXPECT_TRUE(isHeld(mutex));
        {
            NestedScopeLock inner(mutex);
            NestedScopeUnlock released(mutex);
            EXPECT_FALSE(isHeld(mutex));
        }
        EXPECT_TRUE(isHeld(mutex));
    }
    EXPECT_FALSE(isHeld(mutex));
}

TEST(MutexTest, TimedGuardSleepsAfterEachFailure)
{
    CheckedMutex mutex;
    NestedScopeLock holder(mutex);
    std::thread([&] {
        EXPECT_GE(getDurationMs([&] { NestedScopeLock guard(mutex, 10, 3); }), 30);
        EXPECT_LT(getDurationMs([&] { NestedScopeLock guard(mutex, 60000, 0); }), 30000);
    }).join();
    EXPECT_TRUE(isHeld(mutex));
}

TEST(ConditionalTest, DeadlineCarriesAndStopsAtTheEnd)
{
    const time_t LAST = std::numeric_limits<time_t>::max();
    struct Case
    {
        timespec now, relative, deadline;
    };
    static const Case CASES[] = {
        {{7, 500000000}, {0, 999999999}, {8, 499999999}}, {{7, 500000000}, {2, 499999999}, {9, 999999999}},
        {{7, 500000000}, {2, 500000000}, {10, 0}},        {{7, 1}, {LAST, 2}, {LAST, 3}},
        {{7, 999999999}, {LAST - 7, 1}, {LAST, 0}},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(testing::Message() << c.relative.tv_sec << " s, " << c.relative.tv_nsec << " ns");
        const timespec deadline = Conditional::getDeadline(c.now, c.relative);
        EXPECT_EQ(deadline.tv_sec, c.deadline.tv_sec);
        EXPECT_EQ(deadline.tv_nsec, c.deadline.tv_nsec);
    }
}

TEST(ConditionalTest, TimedWaitTellsTimeOutFromSignal)
{
    Conditional condition;
    CheckedMutex mutex;
    NestedScopeLock outer(mutex);
    NestedScopeLock inner(mutex); // a wait lets go of both
    EXPECT_GE(getDurationMs([&] { EXPECT_TRUE(condition.relTimedWait(mutex, timespec{0, 30000000})); }), 30);
    EXPECT_FALSE(condition.relTimedWait(mutex, timespec{0, 2100000000})) << "refused, which is no time-out";

    bool ready = false;
    std::thread other([&] {
        NestedScopeLock guard(mutex); // possible only once the waiter sleeps
        ready = true;
        condition.broadcast();
    });
    bool timedOut = false;
    while (!ready && !timedOut)
        timedOut = condition.relTimedWait(mutex, timespec{60, 0});
    other.join();
    EXPECT_FALSE(timedOut);
}

TEST(ReadWriteLockTest, WritersGoOneByOneBeforeNewReaders)
{
    ReadWriteLock lock;
    int writersDone = 0; // plain, so that the thread sanitizer sees whether the lock excludes
    std::vector<std::thread> threads;
    lock.releaseLock(); // free already: stays so
    lock.acquireReadLock();
    lock.acquireReadLock();
    for (int writers = 1; writers <= 2; ++writers) {
        threads.emplace_back([&] {
            lock.acquireWriteLock();
            ++writersDone;
            lock.releaseLock();
        });
        EXPECT_TRUE(areWaiting(lock, 0, writers));
    }
    threads.emplace_back([&] {
        lock.acquireReadLock();
        EXPECT_EQ(writersDone, 2);
        lock.releaseLock();
    });
    EXPECT_TRUE(areWaiting(lock, 1, 2));
    lock.releaseLock();
    EXPECT_TRUE(areWaiting(lock, 1, 2)) << "one reader still holds it";
    lock.releaseLock();
    for (std::thread& thread : threads)
        thread.join();
}

TEST(ReadWriteLockTest, CancelledWaitersLeaveTheCountsRight)
{
    ReadWriteLock lock;
    lock.acquireWriteLock();
    std::thread reader([&] { lock.acquireReadLock(); });
    EXPECT_TRUE(areWaiting(lock, 1, 0));
    std::thread writer([&] { lock.acquireWriteLock(); });
    EXPECT_TRUE(areWaiting(lock, 1, 1));
    pthread_cancel(writer.native_handle());
    writer.join();
    EXPECT_TRUE(areWaiting(lock, 1, 0));
    pthread_cancel(reader.native_handle());
    reader.join();
    EXPECT_TRUE(areWaiting(lock, 0, 0));

    lock.releaseLock();
    lock.acquireReadLock(); // would hang if a writer were still counted
    lock.releaseLock();
}
