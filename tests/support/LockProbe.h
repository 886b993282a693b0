#pragma once

#include "ostrel/ReadWriteLock.h"
#include "tests/support/Waiting.h"

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
