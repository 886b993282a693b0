// Two processes change one property map in shared memory, under a lock that they share too.
#include <cerrno>
#include <cstdio>
#include <new>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ostrel/PropertyMap.h"
#include "ostrel/PropertyMapView.h"

namespace {

enum Key { KEY_COUNT = 1, KEY_STATE = 2 };

const int ROUNDS = 10000;

/// What both processes see. The mutex is beside the map, not inside.
struct Shared
{
    pthread_mutex_t mutex;
    unsigned char map[PM_STORAGE(PM_ENTRY_INT + PM_ENTRY_STRING(31))];
};

bool initMutex(pthread_mutex_t& mutex)
{
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0)
        return false;
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST); // a process may die while it holds the lock
    const bool isDone = pthread_mutex_init(&mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return isDone;
}

/// Holds the lock for a scope; what it guards may be used while `isUsable`.
class SharedLock
{
public:
    explicit SharedLock(Shared& shared) : _mutex(shared.mutex), _code(pthread_mutex_lock(&_mutex))
    {
        // The other process died in the middle of a change: the map may be torn, so it is asked.
        if (_code == EOWNERDEAD && PropertyMapView::isWellFormed(shared.map, sizeof(shared.map)))
            _code = pthread_mutex_consistent(&_mutex);
    }
    ~SharedLock()
    {
        if (_code == 0 || _code == EOWNERDEAD)
            pthread_mutex_unlock(&_mutex); // a torn map stays locked for good: ENOTRECOVERABLE for all
    }
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;

    bool isUsable() const { return _code == 0; }

private:
    pthread_mutex_t& _mutex;
    int _code;
};

bool countUp(Shared& shared)
{
    const SharedLock lock(shared);
    PropertyMap map(shared.map); // attaches: the buffer alone
    int count = 0;
    return lock.isUsable() && map.get(KEY_COUNT, &count) == PM_RC_OK && map.set(KEY_COUNT, count + 1) == PM_RC_OK;
}

/// The second process: it trusts nothing but what it has checked.
bool work(Shared& shared)
{
    {
        const SharedLock lock(shared);
        if (!lock.isUsable() || !PropertyMap::isWellFormed(shared.map, sizeof(shared.map)))
            return false;
    }
    for (int i = 0; i < ROUNDS; ++i) {
        if (!countUp(shared))
            return false;
    }
    const SharedLock lock(shared);
    PropertyMap map(shared.map);
    return lock.isUsable() && map.set(KEY_STATE, "both have counted") == PM_RC_OK;
}

bool show(Shared& shared)
{
    const SharedLock lock(shared); // readers too: a change is many writes
    const unsigned char* const bytes = shared.map;
    const PropertyMapView map(bytes); // reads, and has nothing that changes
    int count = 0;
    const char* state = nullptr;
    if (!lock.isUsable() || map.get(KEY_COUNT, &count) != PM_RC_OK || map.get(KEY_STATE, &state) != PM_RC_OK)
        return false;
    printf("%s: %d\n", state, count); // `state` points into the map, so it is used under the lock
    return true;
}

} // namespace

int main()
{
    // Shared with the children of this process; others share a file of shm_open(), mapped in the same way.
    void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return 1;
    Shared& shared = *new (memory) Shared;
    if (!initMutex(shared.mutex))
        return 1;

    // One process, once, before the others: buffer and size erase what is there and make an empty map.
    PropertyMap map(shared.map, sizeof(shared.map));
    if (map.insert(KEY_COUNT, 0) != PM_RC_OK || map.insert(KEY_STATE, "begun") != PM_RC_OK)
        return 1;

    const pid_t child = fork();
    if (child == 0)
        _exit(work(shared) ? 0 : 1);
    for (int i = 0; i < ROUNDS; ++i) {
        if (!countUp(shared))
            return 1;
    }
    int status = 1;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
        return 1;
    return show(shared) ? 0 : 1;
}
