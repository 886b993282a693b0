#include "tests/support/SystemCallFaults.h"

int SystemCallFaults::meet(const char* name, Kind kind, long* length)
{
    SystemCallFaults* const faults = current;
    if (faults == nullptr || (faults->_action == CANCEL && kind == PLAIN))
        return 0;
    const bool isMet = faults->_calls.size() == faults->_index;
    faults->_calls.push_back(name);
    if (faults->_action == CANCEL && !isMet && kind == WAIT)
        return EINTR;
    if (faults->_action == CANCEL && isMet)
        pthread_cancel(pthread_self());
    if (faults->_action == SHORTEN && isMet && length != nullptr)
        *length = std::min(*length, 1L);
    return faults->_action == FAIL && isMet ? faults->_error : 0;
}

bool SystemCallFaults::areWithinReach()
{
    SystemCallFaults faults(COUNT);
    timespec now;
    faults.during([&] { clock_gettime(CLOCK_REALTIME, &now); });
    return !faults._calls.empty();
}

#ifndef __SANITIZE_THREAD__ // behind replaced calls it loses sight of the locks of a cancelled thread

static long failWith(int error, long result = -1)
{
    errno = error;
    return result;
}

/// As stdio marks a file.
static long failFile(int error, long file, long result)
{
    reinterpret_cast<FILE*>(file)->_flags |= _IO_ERR_SEEN;
    return failWith(error, result);
}

// The linker sends the calls here (-Wl,--wrap). All take up to four words, which are passed on as they come.
#define WRAP(NAME, KIND, LENGTH, FAILURE)                                                                              \
    extern "C" long __real_##NAME(long, long, long, long);                                                             \
    extern "C" long __wrap_##NAME(long a, long b, long c, long d)                                                      \
    {                                                                                                                  \
        const int error = SystemCallFaults::meet(#NAME, SystemCallFaults::KIND, LENGTH);                               \
        return error != 0 ? (FAILURE) : __real_##NAME(a, b, c, d);                                                     \
    }
WRAP(read, POINT, &c, failWith(error))
WRAP(write, POINT, &c, failWith(error))
WRAP(send, POINT, &c, failWith(error))
WRAP(fread, POINT, &c, failFile(error, d, 0))
WRAP(fwrite, POINT, &c, failFile(error, d, 0))
WRAP(fflush, POINT, nullptr, failFile(error, a, EOF))
WRAP(fdopen, PLAIN, nullptr, failWith(error, 0))
WRAP(fileno, PLAIN, nullptr, failWith(error))
WRAP(fcntl, PLAIN, nullptr, failWith(error))
WRAP(close, POINT, nullptr, (__real_close(a, b, c, d), failWith(error)))
WRAP(poll, POINT, nullptr, failWith(error))
WRAP(ppoll, POINT, nullptr, failWith(error))
WRAP(socketpair, PLAIN, nullptr, failWith(error))
WRAP(clock_gettime, PLAIN, nullptr, (*reinterpret_cast<timespec*>(b) = {}, failWith(error)))
WRAP(nanosleep, POINT, nullptr, failWith(error))
WRAP(sem_init, PLAIN, nullptr, failWith(error))
WRAP(sem_destroy, PLAIN, nullptr, failWith(error))
WRAP(sem_getvalue, PLAIN, nullptr, failWith(error))
WRAP(sem_post, PLAIN, nullptr, failWith(error))
WRAP(sem_trywait, PLAIN, nullptr, failWith(error))
WRAP(sem_wait, WAIT, nullptr, failWith(error))
WRAP(sem_timedwait, WAIT, nullptr, failWith(error))
WRAP(pthread_create, PLAIN, nullptr, error)
WRAP(pthread_timedjoin_np, PLAIN, nullptr, error)
WRAP(pthread_cond_wait, WAIT, nullptr, error == EINTR ? 0 : error)
WRAP(pthread_cond_timedwait, WAIT, nullptr, error == EINTR ? 0 : error)
WRAP(pthread_testcancel, POINT, nullptr, 0)

#endif
