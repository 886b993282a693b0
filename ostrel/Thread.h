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
/// The life of a thread, and who may touch the object meanwhile. "The owner" is the one thread that controls it:
/// `start`, `setName`, `getName` and the destructor are the owner's alone. "All" are the owner and the threads that
/// know that `start` has returned: they call `isRunning`, `stop`, `detach` and `waitFor`.
///
/// State         | What holds                          | Who may touch it  | What moves it
/// --------------|-------------------------------------|-------------------|------------------------------------------
/// created       | no thread yet                       | the owner         | `start`: running
/// running       | the work runs                       | all               | the work returns: ending; the thread is
///               |                                     |                   | cancelled: ended; `detach`: detached
/// ending        | the work is over; whether the       | all; `detach`     | the thread: self-deleting if it is to
///               | object deletes itself is settled    | comes too late    | delete itself, else ended
/// ended         | `isRunning` is false; the thread    | all               | a join: joined; `start`: running, and
///               | has left the object                 |                   | what was not joined stays unjoined
/// joining       | one `waitFor` or `stop` waits in a  | as the row that   | the thread ends: joined; the one who
///               | join; comes on top of running,      | it is on top of;  | waits is cancelled: as before
///               | ending or ended                     | `detach` refuses, |
///               |                                     | a second join too |
/// joined        | the id is the system's again        | all               | `start`: running
/// detached      | as running, ending and ended, but   | all               | as those; after `detach` always to
///               | nobody joins, `waitFor` polls       |                   | self-deleting when the work returns
/// self-deleting | `isRunning` is false; the thread    | calls that began  | the last of these calls leaves: the
///               | waits to destroy the object         | before the work   | object and, if it owns it, the work
///               |                                     | returned          | are destroyed
///
/// Of an object that deletes itself no join is noted: when its work was cancelled, it stays as ended and unjoined.
///
/// Units:     names are bytes: 31 are kept, 15 shown by the kernel.
/// Ownership: the first constructor borrows the work, the second takes it over; `detach` makes the object own both
///            its work and itself. One that deletes itself is made with `new`; it does so when the work returns, not
///            when it is cancelled. Destroying is for quiet times: nobody else is in a call or about to make one.
/// Errors:    starting never fails: it is tried again every 200 ms, with a recoverable report each time. A join that
///            fails makes a recoverable report "Join Failed: ..." and changes nothing, so a joinable thread that was
///            waited for makes one more when it is destroyed ("Thread not found").
/// Threads:   as the table says. The thread itself cannot wait for itself: `waitFor` is reported there when it is
///            joinable ("Join would cause deadlock"), and never returns when it is detached. Only `waitFor` (and `stop`
///            there) is a cancellation point, so destructors may call `stop`; it acts up to 200 ms late, and later if
///            the wall clock is set back meanwhile.
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
    /// cancellation; then the same as `waitFor`. Without a thread that runs, the same as `waitFor` if joinable.
    void stop();

    /// Until the work has returned; joins a joinable thread. Returns at once, with a report, when the thread is joined
    /// already or somebody else is joining it, and without one when it was never started.
    void waitFor() const;

    /// Lets a running thread go on by itself; it deletes the object and its work in the end. False, and nothing
    /// changed, when a joinable thread does not run or somebody is joining it; else true.
    bool detach();

    /// The thread's own last step, for nobody else: a join of itself, which is refused.
    void stopped();

    /// Shown by the kernel from the next start on. Null stands for the empty name, which the kernel is not told.
    void setName(const char* name);

    const char* getName() const { return _name.getData(); }
    bool isRunning() const { return _running; }

    /// As `pthread_create` gave it, 0 before the first start. Stays when the thread has ended, when it may already be
    /// another one's.
    pthread_t getThreadId() { return _threadId; }

private:
    friend struct ThreadProbe; ///< Lets tests wait until a call has begun.

    /// Detached, self-deleting and running have flags of their own, joining is to have a joiner; ended is what ending
    /// becomes when the running flag goes.
    enum State { CREATED, RUNNING, ENDING, JOINED };

    class Visit;

    Thread(Runnable* runnable, const char* name, bool detached, bool deleteOnExit, bool ownsRunnable);

    OSTREL_LOCAL static void* threadfunction(void* thread);
    OSTREL_LOCAL void runRunnable();
    OSTREL_LOCAL static pthread_key_t getRunKey();
    OSTREL_LOCAL static void endCancelledRun(void* thread);
    OSTREL_LOCAL bool endRun();
    OSTREL_LOCAL int createThread();
    OSTREL_LOCAL void stopAndWait();
    OSTREL_LOCAL void makeReturn();
    OSTREL_LOCAL void cancel();
    OSTREL_LOCAL void waitFor(Visit& visit) const;
    OSTREL_LOCAL int join(Visit& visit) const;
    OSTREL_LOCAL void endJoin(const void* joiner, bool isJoined) const;

    std::atomic<bool> _detached;
    mutable std::atomic<bool> _running;
    std::atomic<bool> _deleteOnExit;
    std::atomic<bool> _ownsRunnable;
    pthread_t _threadId;
    Ostrel::FixedString<32> _name;
    Runnable* const _runnable;
    mutable Ostrel::Mutex _mutex;

    Ostrel::FixedString<32> _startName; ///< What the thread reads, while `_name` may change.
    mutable State _state;               ///< Guarded by the mutex, as is the next one.
    mutable const void* _joiner;        ///< Who joins this thread, not the one of an earlier start; null for none.
    mutable std::atomic<int> _visitors; ///< Calls that the end of the object waits for.
};
