#include "tests/support/SystemCallFaults.h"

#include <semaphore.h>
#include <sys/select.h>
#include <sys/socket.h>

int SystemCallFaults::meet(const char* name, Kind kind, size_t* length)
{
    SystemCallFaults* const faults = std::exchange(current, nullptr); // what it does itself is not met
    if (faults == nullptr)
        return 0;
    const int error = faults->meetThis(name, kind, length);
    current = faults;
    return error;
}

bool SystemCallFaults::areWithinReach()
{
    SystemCallFaults faults(COUNT);
    faults.during([] { poll(nullptr, 0, 0); });
    return !faults.getCalls().empty();
}

int SystemCallFaults::meetThis(const char* name, Kind kind, size_t* length)
{
    if (_action == CANCEL && kind == PLAIN)
        return 0;
    const bool isMet = _calls.size() == _index;
    _calls.push_back(name);
    if (_action == CANCEL && isMet)
        pthread_cancel(pthread_self());
    else if (_action == CANCEL && kind == WAIT && _calls.size() <= _index)
        return EINTR;
    else if (_action == SHORTEN && isMet && length != nullptr)
        *length = std::min<size_t>(*length, 1);
    return _action == FAIL && isMet ? _error : 0;
}

namespace {

int failWith(int error)
{
    errno = error;
    return -1;
}

/// As stdio marks a file.
size_t failFile(FILE* file, int error)
{
    file->_flags |= _IO_ERR_SEEN;
    errno = error;
    return 0;
}

} // namespace

// The linker sends the calls here (-Wl,--wrap).
#define WRAP(RESULT, NAME, KIND, PARAMETERS, ARGUMENTS, FAILURE)                                                       \
    RESULT __real_##NAME PARAMETERS;                                                                                   \
    RESULT __wrap_##NAME PARAMETERS                                                                                    \
    {                                                                                                                  \
        const int error = SystemCallFaults::meet(#NAME, SystemCallFaults::KIND);                                       \
        return error != 0 ? (FAILURE) : __real_##NAME ARGUMENTS;                                                       \
    }
#define WRAP_MOVING(RESULT, NAME, LENGTH, PARAMETERS, ARGUMENTS, FAILURE)                                              \
    RESULT __real_##NAME PARAMETERS;                                                                                   \
    RESULT __wrap_##NAME PARAMETERS                                                                                    \
    {                                                                                                                  \
        const int error = SystemCallFaults::meet(#NAME, SystemCallFaults::POINT, &(LENGTH));                           \
        return error != 0 ? (FAILURE) : __real_##NAME ARGUMENTS;                                                       \
    }

extern "C" {
WRAP_MOVING(ssize_t, read, size, (int fd, void* to, size_t size), (fd, to, size), failWith(error))
WRAP_MOVING(ssize_t, write, size, (int fd, const void* from, size_t size), (fd, from, size), failWith(error))
WRAP_MOVING(ssize_t, send, size, (int fd, const void* from, size_t size, int flags), (fd, from, size, flags),
            failWith(error))
WRAP_MOVING(size_t, fread, count, (void* to, size_t size, size_t count, FILE* file), (to, size, count, file),
            failFile(file, error))
WRAP_MOVING(size_t, fwrite, count, (const void* from, size_t size, size_t count, FILE* file), (from, size, count, file),
            failFile(file, error))
WRAP(int, fflush, POINT, (FILE * file), (file), (failFile(file, error), EOF))
WRAP(FILE*, fdopen, PLAIN, (int fd, const char* mode), (fd, mode), (errno = error, nullptr))
WRAP(int, fileno, PLAIN, (FILE * file), (file), failWith(error))
WRAP(int, fcntl, PLAIN, (int fd, int command, long argument), (fd, command, argument), failWith(error))
WRAP(int, close, POINT, (int fd), (fd), (__real_close(fd), failWith(error)))
WRAP(int, poll, POINT, (pollfd * descriptors, nfds_t count, int timeOut), (descriptors, count, timeOut),
     failWith(error))
WRAP(int, ppoll, POINT, (pollfd * descriptors, nfds_t count, const timespec* timeOut, const sigset_t* mask),
     (descriptors, count, timeOut, mask), failWith(error))
WRAP(int, select, POINT, (int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeOut),
     (count, readable, writable, exceptional, timeOut), failWith(error))
WRAP(int, fsync, POINT, (int fd), (fd), failWith(error))
WRAP(int, socketpair, PLAIN, (int domain, int type, int protocol, int* ends), (domain, type, protocol, ends),
     failWith(error))
WRAP(int, clock_gettime, PLAIN, (clockid_t clock, timespec* time), (clock, time), (*time = {}, failWith(error)))
WRAP(int, nanosleep, POINT, (const timespec* time, timespec* left), (time, left), failWith(error))
WRAP(int, sem_init, PLAIN, (sem_t * semaphore, int shared, unsigned int value), (semaphore, shared, value),
     failWith(error))
WRAP(int, sem_destroy, PLAIN, (sem_t * semaphore), (semaphore), failWith(error))
WRAP(int, sem_getvalue, PLAIN, (sem_t * semaphore, int* value), (semaphore, value), failWith(error))
WRAP(int, sem_post, PLAIN, (sem_t * semaphore), (semaphore), failWith(error))
WRAP(int, sem_trywait, PLAIN, (sem_t * semaphore), (semaphore), failWith(error))
WRAP(int, sem_wait, WAIT, (sem_t * semaphore), (semaphore), failWith(error))
WRAP(int, sem_timedwait, WAIT, (sem_t * semaphore, const timespec* end), (semaphore, end), failWith(error))
WRAP(int, pthread_create, PLAIN,
     (pthread_t * id, const pthread_attr_t* attributes, void* (*function)(void*), void* argument),
     (id, attributes, function, argument), error)
WRAP(int, pthread_timedjoin_np, PLAIN, (pthread_t id, void** result, const timespec* end), (id, result, end), error)
WRAP(int, pthread_cond_wait, WAIT, (pthread_cond_t * condition, pthread_mutex_t* mutex), (condition, mutex),
     error == EINTR ? 0 : error)
WRAP(int, pthread_cond_timedwait, WAIT, (pthread_cond_t * condition, pthread_mutex_t* mutex, const timespec* end),
     (condition, mutex, end), error == EINTR ? 0 : error)

void __real_pthread_testcancel();
void __wrap_pthread_testcancel()
{
    SystemCallFaults::meet("pthread_testcancel", SystemCallFaults::POINT);
    __real_pthread_testcancel();
}
}
