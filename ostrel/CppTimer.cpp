#include "ostrel/CppTimer.h"

#include <cerrno>
#include <mutex>
#include <sys/socket.h>
#include <unistd.h>

#include "ostrel/Assert.h"
#include "ostrel/internal/CancellationPause.h"
#include "ostrel/internal/Descriptor.h"

namespace Ostrel {

namespace {

constexpr int LINE_SHORT_COMMAND = 150;

const long long MICROSECONDS_PER_SECOND = 1000000;

Timer::TimerCommand readCommand(int fd)
{
    Timer::TimerCommand command;
    const ssize_t rc = read(fd, &command, sizeof(command));
    OSTREL_ASSERT_AT(rc == 4, "rc == 4", LINE_SHORT_COMMAND);
    return command;
}

timeval getTime()
{
    timeval now;
    gettimeofday(&now, nullptr);
    return now;
}

timeval getElapsed(timeval start)
{
    timeval now = getTime();
    timeval elapsed;
    timeval_subtract(&elapsed, &now, &start);
    return elapsed;
}

void moveToSeconds(timeval& time, long long seconds)
{
    time.tv_sec = static_cast<time_t>(time.tv_sec + seconds);
    time.tv_usec = static_cast<suseconds_t>(time.tv_usec - seconds * MICROSECONDS_PER_SECOND);
}

} // namespace

/// The sockets of one wait. They go with it even if the thread is cancelled.
class Timer::Wait
{
public:
    explicit Wait(Timer& timer) : _timer(timer)
    {
        int sockets[2] = {-1, -1};
        const std::lock_guard<Mutex> guard(_timer._mutex);
        socketpair(AF_UNIX, SOCK_STREAM, 0, sockets); // without a pair there is nothing to be told, which is no error
        _timer._commandSocket = sockets[0];
        _timer._waitSocket = sockets[1];
    }

    ~Wait()
    {
        // Whoever sends into a full socket holds the mutex, and nobody reads any more: this turns the sender away.
        shutdown(_timer._waitSocket, SHUT_RDWR);
        const CancellationPause pause;
        const std::lock_guard<Mutex> guard(_timer._mutex);
        close(_timer._commandSocket);
        close(_timer._waitSocket);
        _timer._commandSocket = -1;
        _timer._waitSocket = -1;
    }

    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;

private:
    Timer& _timer;
};

Timer::Timer() : _mutex(Mutex::NORMAL), _commandSocket(-1), _waitSocket(-1) {}

Timer::WaitResult Timer::waitSeconds(int seconds)
{
    const Wait wait(*this);
    const timeval interval = {seconds, 0};
    timeval timeOut = interval;
    timeval start = getTime();
    for (;;) {
        const int result = waitUntilReadable(_waitSocket, timeOut); // without a socket the time still has to pass
        if (result > 0) {
            if (readCommand(_waitSocket) == TIMER_STOP)
                break;
            timeOut = interval;
            start = getTime();
        } else if (result == -1 && errno == EINTR) {
            timeOut = getElapsed(start); // what has passed, not what is left: see docs/compatibility.md
        } else {
            break;
        }
    }
    return WAIT_ENDED;
}

void Timer::reset()
{
    sendCommand(TIMER_RESET);
}

void Timer::stop()
{
    sendCommand(TIMER_STOP);
}

void Timer::sendCommand(TimerCommand command)
{
    const CancellationPause pause; // the mutex is held while it sends
    const std::lock_guard<Mutex> guard(_mutex);
    if (_commandSocket == -1)
        return;
    // Without SIGPIPE, because the wait may be about to end.
    retryInterrupted([&] { return send(_commandSocket, &command, sizeof(command), MSG_NOSIGNAL); });
}

int timeval_subtract(timeval* result, timeval* x, timeval* y)
{
    const long long xMicroseconds = x->tv_usec;
    if (xMicroseconds < y->tv_usec)
        moveToSeconds(*y, (y->tv_usec - xMicroseconds) / MICROSECONDS_PER_SECOND + 1);
    // Not positive, so this moves `y` the other way. Only microseconds out of range get here.
    if (xMicroseconds - y->tv_usec > MICROSECONDS_PER_SECOND)
        moveToSeconds(*y, -((y->tv_usec - xMicroseconds) / MICROSECONDS_PER_SECOND));
    result->tv_sec = x->tv_sec - y->tv_sec;
    result->tv_usec = x->tv_usec - y->tv_usec;
    return x->tv_sec < y->tv_sec ? 1 : 0;
}

} // namespace Ostrel
