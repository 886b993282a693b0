#pragma once

#include <atomic>
#include <pthread.h>

#include "ostrel/AutoPtr.h"
#include "ostrel/Export.h"
#include "ostrel/FixedString.h"
#include "ostrel/Mutex.h"
#include "ostrel/Runnable.h"

/// Runs a `Runnable` on a POSIX thread of its own, under a name that the kernel shows.
///
/// For an object that is its own work derive from `Threadable`.
///
///     void workForAMinute(Runnable& worker)
///     {
///         Thread thread(&worker, "worker", false);
///         thread.start();
///         sleep(60);
///         thread.stop(); // worker.cancelRun(), then waits for the end
///     }
///
/// Units:     names are bytes: 31 are kept, 15 shown by the kernel.
/// Ownership: the first constructor borrows the work, the second takes it over; `detach` makes the object own both
///            its work and itself. One that deletes itself is made with `new` and, once its work may have returned,
///            left alone.
/// Errors:    starting never fails: it is tried again every 200 ms, with a recoverable report each time. A join that
///            fails makes a recoverable report "Join Failed: ..." and changes nothing, so a joinable thread that was
///            waited for makes one more when it is destroyed ("Thread not found").
/// Threads:   `isRunning`, `stop`, `detach` and `waitFor` may come from any thread that knows `start` has returned.
///            `setName`, `getName` and `start` belong to the thread that controls the object. A thread that destroys
///            one must not be cancelled meanwhile.
class OSTREL_EXPORT Thread
{
public:
    Thread(Runnable* runnable, const char* name, bool detached);

    /// With `deleteOnExit` the object deletes itself when the work returns. Use it on detached threads: a joinable one
    /// would wait for itself there, which is reported, and its resources stay with the process.
    Thread(Ostrel::AutoPtr<Runnable> runnable, const char* name, bool detached, bool deleteOnExit);

    ~Thread(); ///< Stops the thread first.
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Does nothing while the thread runs. May be called again after the end; a joinable thread should be waited for
    /// before, as its id is lost then.
    void start();

    /// Asks the work to return, gives it about 100 ms, then cancels the thread, which acts only if the work allows
    /// cancellation; waits for the end in any case. Without a thread that runs, the same as `waitFor` if joinable.
    void stop();

    void waitFor() const; ///< Until the work has returned; joins a joinable thread.

    /// Lets a running thread go on by itself; it deletes the object and its work in the end. False, and nothing
    /// changed, when a joinable thread does not run; else true.
    bool detach();

    /// The thread's own last step: ends the join of a joinable one where that is possible.
    void stopped();

    /// Shown by the kernel from the next start on. Null stands for the empty name, which the kernel is not told.
    void setName(const char* name);

    const char* getName() const { return _name.getData(); }
    bool isRunning() const { return _running; }

    /// As `pthread_create` gave it, 0 before the first start. Stays when the thread has ended, when it may already be
    /// another one's.
    pthread_t getThreadId() { return _threadId; }

private:
    enum JoinState { NOT_JOINED, JOINING, JOINED };

    Thread(Runnable* runnable, const char* name, bool detached, bool deleteOnExit, bool ownsRunnable);

    static void* threadfunction(void* thread);
    void runRunnable();
    bool endRun();
    void cancel();
    int createThread();
    int join() const;

    std::atomic<bool> _detached;
    std::atomic<bool> _running;
    std::atomic<bool> _deleteOnExit;
    std::atomic<bool> _ownsRunnable;
    pthread_t _threadId;
    Ostrel::FixedString<32> _name;
    Runnable* const _runnable;
    Ostrel::Mutex _mutex;

    Ostrel::FixedString<32> _startName;        ///< What the thread reads, while `_name` may change.
    bool _ending;                              ///< The work is over; whether the thread deletes the object is decided.
    mutable std::atomic<JoinState> _joinState; ///< Of `_threadId`, which the system gives away again after a join.
};
