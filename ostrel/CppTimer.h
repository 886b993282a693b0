#pragma once

#include <sys/time.h>

#include "ostrel/Config.h"
#include "ostrel/Export.h"
#include "ostrel/Mutex.h"

namespace Ostrel {

/// A sleep that other threads can end early or start anew.
///
///     Timer timer;
///     timer.waitSeconds(10); // one thread
///     timer.reset();         // another: the 10 seconds start again
///     timer.stop();          // the wait ends now
///
/// Units:     seconds, which pass whatever is done to the wall clock. Only what has passed at an interruption is read
///            from the wall clock, so setting that spoils the rest of an interrupted wait.
/// Ownership: two descriptors for the length of a wait, none otherwise.
/// Errors:    none are told. Without descriptors the wait cannot be influenced. A command that arrives in part stops
///            the process.
/// Threads:   one thread waits at a time. Commands come from any thread; one that comes before the wait has really
///            begun is lost, so repeat it until the wait is seen to end. Sending is no cancellation point; it blocks
///            while thousands of commands lie unread. A timer is destroyed when nobody waits or sends.
class OSTREL_EXPORT Timer
{
public:
    /// What a wait can be told.
    enum TimerCommand : int { TIMER_RESET = 0, TIMER_STOP = 1 };
    /// What a wait gives.
    enum WaitResult { WAIT_ENDED = -1 };

    Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Always `WAIT_ENDED`, whatever ended it. A signal handler that interrupts the wait makes it end after as much
    /// time again as has passed since its start (or the last reset), be that less or more than `seconds`. So signals
    /// that go on coming, each before that time is over, keep it waiting for as long as they come. A cancellation
    /// point.
    WaitResult waitSeconds(int seconds);

    void reset();                           ///< The wait starts again.
    void stop();                            ///< The wait ends now.
    void sendCommand(TimerCommand command); ///< Any but `TIMER_STOP` resets.

private:
    class Wait;

    Mutex _mutex; ///< Guards both descriptors, so that no command is written to one that is being closed.
    int _commandSocket;
    int _waitSocket;
};

/// `result` = `x` - `y`; 1 when the seconds of `x` are less than those of `y` once `y` has been adapted to the
/// microseconds of `x` (`y` is changed by that), else 0.
OSTREL_EXPORT int timeval_subtract(timeval* result, timeval* x, timeval* y);

} // namespace Ostrel
