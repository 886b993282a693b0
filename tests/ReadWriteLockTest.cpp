#include "tests/support/LockProbe.h"

using namespace Ostrel;

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
