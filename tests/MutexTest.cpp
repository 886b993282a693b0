#include "ostrel/Mutex.h"
#include "ostrel/Lockable.h"
#include "tests/support/LockProbe.h"

using namespace Ostrel;

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
        EXPECT_GE(getDurationMs([&] { NestedScopeLock guard(mutex, 1000, 1); }), 1000);
        EXPECT_LT(getDurationMs([&] { NestedScopeLock guard(mutex, 60000, 0); }), 30000);
    }).join();
    EXPECT_TRUE(isHeld(mutex));
}
