#pragma once

#include "ostrel/Conditional.h"
#include "ostrel/Export.h"
#include "ostrel/Mutex.h"

namespace Ostrel {

/// Many readers or one writer. Writers come first: while one waits, no new reader gets in.
///
/// Ownership: not copyable; must not be destroyed while held or waited for.
/// Errors:    none. Releasing a lock that is free changes nothing. It is not recursive: a reader that asks again
///            while a writer waits blocks for ever.
/// Threads:   that is its purpose. Acquiring is a cancellation point while it waits; a cancelled thread leaves the
///            counts right, but passes on no signal that had reached it already.
class OSTREL_EXPORT ReadWriteLock
{
public:
    ReadWriteLock();
    ReadWriteLock(const ReadWriteLock&) = delete;
    ReadWriteLock& operator=(const ReadWriteLock&) = delete;

    void acquireReadLock();  ///< Waits while a writer holds the lock or waits for it.
    void acquireWriteLock(); ///< Waits while anybody holds the lock.
    void releaseLock();      ///< Gives up what the caller holds, either kind.

    /// Clean-up of a thread that is cancelled while it waits as a reader; `lock` is the `ReadWriteLock`.
    static void rdCancelHandler(void* lock);
    static void wtCancelHandler(void* lock); ///< As a writer.

private:
    friend class LockProbe; ///< Lets tests wait until a thread really sleeps.

    OSTREL_LOCAL void waitAsReader();
    OSTREL_LOCAL void waitAsWriter();
    OSTREL_LOCAL void wakeWaiting();

    enum { HELD_BY_WRITER = -1, FREE = 0 };

    Mutex _mutex;
    Conditional _readersCondition;
    Conditional _writersCondition;
    int _waitingReaders;
    int _waitingWriters;
    int _holders; ///< The number of readers that hold the lock, or one of the two above.
};

} // namespace Ostrel
