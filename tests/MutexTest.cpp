#include <gtest/gtest.h>

#include <future>
#include <limits>
#include <thread>
#include <vector>

#include "ostrel/Conditional.h"
#include "ostrel/Lockable.h"
#include "ostrel/Mutex.h"
#include "ostrel/ReadWriteLock.h"
#include "tests/support/Eventually.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

namespace Ostrel {

/// What guards and locks keep to themselves.
class LockProbe
{
public:
    static bool hasLocked(const NestedScopeLock& guard) { return guard._locked != nullptr; }

    static bool areWaiting(ReadWriteLock& lock, int readers, int writers)
    {
        return eventually([&] {
            lock._mutex.lock();
            const bool are = lock._waitingReaders == readers && lock._waitingWriters == writers;
            lock._mutex.unlock();
            return are;
        });
    }
};

} // namespace Ostrel

/// Asks from another thread, as the owner's own tries tell nothing.
static bool isHeld(CheckedMutex& mutex)
{
    const auto tryToLock = [&] { return LockProbe::hasLocked(NestedScopeLock(mutex, 0, 1)); };
    return !std::async(std::launch::async, tryToLock).get();
}

TEST(MutexDeathTest, LettingGoOfWhatIsNotHeldStopsTheProcess)
{
    CheckedMutex mutex;
    EXPECT_DEATH(NestedScopeUnlock guard(mutex), "Mutex.cpp:102: .*Assertion `false' failed");
}

TEST(MutexTest, RecursiveKindCountsItsHoldsThroughAWrapperToo)
{
    Mutex mutex(Mutex::RECURSIVE);
    MutexLockableWrapper wrapper(mutex);
    wrapper.lock();
    EXPECT_EQ(mutex.lock(), 0);
    wrapper.unlock();
    EXPECT_EQ(mutex.unlock(), 0);
    std::async(std::launch::async, [&] { EXPECT_TRUE(mutex.lock() == 0 && mutex.unlock() == 0); }).get();
}

TEST(MutexTest, OnlyTheOutermostGuardUnlocks)
{
    CheckedMutex mutex;
    {
        NestedScopeLock outer(mutex);
        {
            NestedScopeLock inner(mutex);
            NestedScopeLock trying(mutex, 0, 2); // the holder's own tries fail as anybody's do
            EXPECT_TRUE(isHeld(mutex));
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
    static const timespec CASES[][3] = {
        {{7, 500000000}, {0, 999999999}, {8, 499999999}}, {{7, 500000000}, {2, 499999999}, {9, 999999999}},
        {{7, 500000000}, {2, 500000000}, {10, 0}},        {{7, 1}, {LAST, 2}, {LAST, 3}},
        {{7, 999999999}, {LAST - 7, 1}, {LAST, 0}},
    };
    for (const auto& [now, relative, expected] : CASES) {
        const timespec deadline = Conditional::getDeadline(now, relative);
        EXPECT_EQ(std::pair(deadline.tv_sec, deadline.tv_nsec), std::pair(expected.tv_sec, expected.tv_nsec));
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
    while (!ready)
        EXPECT_FALSE(condition.relTimedWait(mutex, timespec{60, 0}));
    other.join();
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
        EXPECT_TRUE(LockProbe::areWaiting(lock, 0, writers));
    }
    for (int readers = 1; readers <= 2; ++readers) {
        threads.emplace_back([&] {
            lock.acquireReadLock(); // and keeps it, so that one must not wake the other
            EXPECT_EQ(writersDone, 2);
        });
        EXPECT_TRUE(LockProbe::areWaiting(lock, readers, 2));
    }
    lock.releaseLock();
    EXPECT_TRUE(LockProbe::areWaiting(lock, 2, 2)) << "one reader still holds it";
    lock.releaseLock();
    for (std::thread& thread : threads)
        thread.join();
}

TEST(ReadWriteLockTest, CancelledWaitersLeaveTheCountsRight)
{
    ReadWriteLock lock;
    lock.acquireWriteLock();
    std::thread reader([&] { lock.acquireReadLock(); });
    std::thread writer([&] { lock.acquireWriteLock(); });
    EXPECT_TRUE(LockProbe::areWaiting(lock, 1, 1));
    pthread_cancel(writer.native_handle());
    writer.join();
    EXPECT_TRUE(LockProbe::areWaiting(lock, 1, 0));
    pthread_cancel(reader.native_handle());
    reader.join();
    EXPECT_TRUE(LockProbe::areWaiting(lock, 0, 0));
    lock.releaseLock();
    lock.acquireReadLock(); // would hang if the lock were still held
}
