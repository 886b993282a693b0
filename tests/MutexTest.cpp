#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include "ostrel/AtomicCounter.h"
#include "ostrel/Conditional.h"
#include "ostrel/Lockable.h"
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

TEST(MutexTest, RecursiveKindLocksAgain)
{
    Mutex recursive(Mutex::RECURSIVE);
    EXPECT_EQ(recursive.lock(), 0);
    EXPECT_EQ(recursive.lock(), 0);
    EXPECT_EQ(recursive.unlock(), 0);
    EXPECT_EQ(recursive.unlock(), 0);
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

TEST(MutexTest, LockablesForwardOrDoNothing)
{
    struct Refusing : Mutex
    {
        int lock() override { return EINVAL; }
    };
    Refusing mutex;
    Ostrel::MutexLockableWrapper wrapper(mutex);
    Ostrel::Lockable& lockable = wrapper;
    int count = 0;
    const auto raise = [&] {
        for (int i = 0; i < 20000; ++i) {
            lockable.lock();
            ++count;
            lockable.unlock();
        }
    };
    std::thread other(raise);
    raise();
    other.join();
    EXPECT_EQ(count, 40000);

    Ostrel::Lockable& none = Ostrel::NullMutex::getInstance();
    none.lock();
    none.lock();
    none.unlock();
    EXPECT_EQ(&none, &Ostrel::NullMutex::getInstance());
}

TEST(AtomicCounterTest, CountsFromSeveralThreadsAndGivesTheNewValue)
{
    Ostrel::AtomicCounter counter(std::numeric_limits<int>::max());
    EXPECT_EQ(++counter, std::numeric_limits<int>::min());
    EXPECT_EQ(--counter, std::numeric_limits<int>::max());
    const auto raise = [&] {
        for (int i = 0; i < 20000; ++i) {
            ++counter;
            --counter;
            --counter;
        }
    };
    std::thread other(raise);
    raise();
    other.join();
    EXPECT_EQ(counter.get(), std::numeric_limits<int>::max() - 40000);
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
    Mutex mutex;
    mutex.lock();
    EXPECT_GE(getDurationMs([&] { EXPECT_TRUE(condition.relTimedWait(mutex, timespec{0, 30000000})); }), 30);
    EXPECT_FALSE(condition.relTimedWait(mutex, timespec{0, 2100000000})) << "refused, which is no time-out";

    bool ready = false;
    std::thread other([&] {
        mutex.lock(); // possible only once the waiter sleeps
        ready = true;
        condition.signal();
        mutex.unlock();
    });
    bool timedOut = false;
    while (!ready && !timedOut)
        timedOut = condition.relTimedWait(mutex, timespec{60, 0});
    mutex.unlock();
    other.join();
    EXPECT_FALSE(timedOut);
}

TEST(ConditionalTest, WaitLetsANestedCheckedMutexGoAndBroadcastWakesAll)
{
    Conditional condition;
    CheckedMutex mutex;
    int waiting = 0;
    bool ready = false;
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] {
            NestedScopeLock outer(mutex);
            NestedScopeLock inner(mutex);
            ++waiting;
            while (!ready)
                condition.wait(mutex);
            --waiting;
        });
    }
    EXPECT_TRUE(eventually([&] {
        NestedScopeLock guard(mutex);
        return waiting == 3; // and so all three sleep
    }));
    {
        NestedScopeLock guard(mutex);
        ready = true;
        condition.broadcast();
    }
    for (std::thread& waiter : waiters)
        waiter.join();
    EXPECT_EQ(waiting, 0);
}

TEST(ReadWriteLockTest, WaitingWriterKeepsNewReadersOut)
{
    ReadWriteLock lock;
    std::atomic<int> order{0};
    int writerTurn = 0;
    int readerTurn = 0;
    lock.acquireReadLock();
    lock.acquireReadLock();
    std::thread writer([&] {
        lock.acquireWriteLock();
        writerTurn = ++order;
        lock.releaseLock();
    });
    ASSERT_TRUE(areWaiting(lock, 0, 1));
    std::thread reader([&] {
        lock.acquireReadLock();
        readerTurn = ++order;
        lock.releaseLock();
    });
    EXPECT_TRUE(areWaiting(lock, 1, 1));
    lock.releaseLock();
    EXPECT_TRUE(areWaiting(lock, 1, 1)) << "one reader still holds it";
    EXPECT_EQ(order, 0);
    lock.releaseLock();
    writer.join();
    reader.join();
    EXPECT_EQ(writerTurn, 1);
    EXPECT_EQ(readerTurn, 2);
}

TEST(ReadWriteLockTest, WritersGoOneByOneBeforeTheReaders)
{
    ReadWriteLock lock;
    std::atomic<int> writersDone{0};
    std::vector<std::thread> threads;
    lock.releaseLock(); // free already: stays so
    lock.acquireWriteLock();
    for (int i = 1; i <= 2; ++i) {
        threads.emplace_back([&] {
            lock.acquireReadLock();
            EXPECT_EQ(writersDone, 2);
            lock.releaseLock();
        });
        EXPECT_TRUE(areWaiting(lock, i, 0));
    }
    for (int i = 1; i <= 2; ++i) {
        threads.emplace_back([&] {
            lock.acquireWriteLock();
            ++writersDone;
            lock.releaseLock();
        });
        EXPECT_TRUE(areWaiting(lock, 2, i));
    }
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
    std::thread([&] {
        lock.acquireReadLock(); // would hang if a writer were still counted
        lock.acquireReadLock();
        lock.releaseLock();
        lock.releaseLock();
        lock.acquireWriteLock();
        lock.releaseLock();
    }).join();
}

TEST(ReadWriteLockTest, ReadersAndWritersNeverMeet)
{
    ReadWriteLock lock;
    int value = 0;
    std::atomic<int> readers{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 1000; ++i) {
                if ((i + thread) % 4 == 0) {
                    lock.acquireWriteLock();
                    EXPECT_EQ(readers, 0);
                    ++value;
                } else {
                    lock.acquireReadLock();
                    ++readers;
                    EXPECT_GE(value, 0);
                    --readers;
                }
                lock.releaseLock();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(value, 1000);
}
