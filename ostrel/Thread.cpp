#include "ostrel/Thread.h"

#include <cerrno>
#include <climits>
#include <mutex>
#include <time.h>
#include <utility>

#include "ostrel/Report.h"
#include "ostrel/SysCalls.h"
#include "ostrel/internal/CancellationPause.h"
#include "ostrel/internal/Descriptor.h"

namespace {

constexpr int LINE_RUNNABLE = 27;
constexpr int LINE_JOIN = 110;

enum { STOP_POLLS = 10, STOP_POLL_MS = 10, WAIT_POLL_MS = 20, START_RETRY_MS = 200, JOIN_STEP_MS = 200 };

enum { IS_DETACHED = -1 }; // beside the errors of a join

using Guard = std::lock_guard<Ostrel::Mutex>;

/// Does something when a scope is left because the thread is cancelled.
template <class Action>
class OnCancellation
{
public:
    explicit OnCancellation(Action action) : _action(action), _isArmed(true) {}
    ~OnCancellation()
    {
        if (_isArmed)
            _action();
    }
    OnCancellation(const OnCancellation&) = delete;
    OnCancellation& operator=(const OnCancellation&) = delete;

    void dismiss() { _isArmed = false; }

private:
    Action _action;
    bool _isArmed;
};

void sleepMs(int milliseconds)
{
    timespec rest = {0, milliseconds * 1000000L};
    Ostrel::retryInterrupted([&] { return nanosleep(&rest, &rest); });
}

timespec getTimeIn(int milliseconds)
{
    timespec time;
    clock_gettime(CLOCK_REALTIME, &time);
    time.tv_nsec += milliseconds * 1000000L;
    if (time.tv_nsec >= 1000000000L) {
        time.tv_nsec -= 1000000000L;
        ++time.tv_sec;
    }
    return time;
}

/// As `pthread_join`, but a cancellation acts between two steps only: the C library of the product has no unwind
/// tables for the inside of a join, so nothing on the stack would be cleaned up there.
int joinInSteps(pthread_t id)
{
    int error;
    do {
        pthread_testcancel();
        const Ostrel::CancellationPause pause;
        const timespec end = getTimeIn(JOIN_STEP_MS);
        error = pthread_timedjoin_np(id, nullptr, &end);
    } while (error == ETIMEDOUT);
    return error;
}

const char* getJoinError(int error)
{
    switch (error) {
    case EINVAL:
        return "Thread not joinable";
    case ESRCH:
        return "Thread not found";
    case EDEADLK:
        return "Join would cause deadlock";
    default:
        return "<undefined>";
    }
}

int createDetached(pthread_t* id, void* (*function)(void*), void* argument)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setscope(&attributes, PTHREAD_SCOPE_SYSTEM);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    const int rc = pthread_create(id, &attributes, function, argument);
    pthread_attr_destroy(&attributes);
    if (rc == 0)
        pthread_detach(*id); // refused, as it is detached already; the caller keeps the thread alive by its mutex
    return rc;
}

} // namespace

/// A call that an object which deletes itself waits for.
class Thread::Visit
{
public:
    explicit Visit(const Thread& thread) : _visitors(&thread._visitors) { ++*_visitors; }
    ~Visit() { leave(); }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    /// From here on the object may be gone.
    void leave()
    {
        if (std::atomic<int>* const visitors = std::exchange(_visitors, nullptr))
            --*visitors;
    }

private:
    std::atomic<int>* _visitors;
};

Thread::Thread(Runnable* runnable, const char* name, bool detached) : Thread(runnable, name, detached, false, false) {}

Thread::Thread(Ostrel::AutoPtr<Runnable> runnable, const char* name, bool detached, bool deleteOnExit)
    : Thread(runnable.release(), name, detached, deleteOnExit, true)
{}

Thread::Thread(Runnable* runnable, const char* name, bool detached, bool deleteOnExit, bool ownsRunnable)
    : _detached(detached),
      _running(false),
      _deleteOnExit(deleteOnExit),
      _ownsRunnable(ownsRunnable),
      _threadId(0),
      _runnable(runnable),
      _mutex(Ostrel::Mutex::NORMAL),
      _state(CREATED),
      _joiner(nullptr),
      _visitors(0)
{
    setName(name);
}

Thread::~Thread()
{
    const Ostrel::CancellationPause pause;
    stop();
    if (_ownsRunnable)
        delete _runnable;
}

void Thread::start()
{
    const Ostrel::CancellationPause pause; // the mutex is held all the time
    const Guard guard(_mutex);
    if (_running)
        return;
    _running = true;
    _startName.assign(_name);
    _state = RUNNING;
    _joiner = nullptr;
    while (createThread() != 0) {
        _threadId = 0; // a failed creation leaves garbage
        Ostrel::reportMessage(Ostrel::Severity::RECOVERABLE, "Thread::start() Error starting thread");
        sleepMs(START_RETRY_MS);
    }
}

void Thread::stop()
{
    // The thread itself stays open to the cancellation that it asks for here.
    if (pthread_getspecific(getRunKey()) == this)
        return stopAndWait();
    const Ostrel::CancellationPause pause; // destructors of derived classes and of owners call this
    stopAndWait();
}

void Thread::stopAndWait()
{
    Visit visit(*this);
    if (_running)
        makeReturn();
    else if (_detached)
        return;
    waitFor(visit);
}

/// Leaves it running only if the work neither returns nor can be cancelled.
void Thread::makeReturn()
{
    if (_runnable != nullptr)
        _runnable->cancelRun();
    for (int polls = 0; _running; ++polls) {
        if (polls == STOP_POLLS)
            return cancel();
        sleepMs(STOP_POLL_MS);
    }
}

void Thread::waitFor() const
{
    Visit visit(*this);
    waitFor(visit);
}

void Thread::waitFor(Visit& visit) const
{
    const int error = join(visit);
    if (error == IS_DETACHED) {
        while (_running)
            sleepMs(WAIT_POLL_MS);
    } else if (error != 0) {
        OSTREL_REPORT_AT(RECOVERABLE, LINE_JOIN, "Join Failed: %s", getJoinError(error));
    }
}

bool Thread::detach()
{
    const Guard guard(_mutex);
    // Whoever joins does not expect the object to go. Once the thread has decided not to delete it, nobody would.
    if (!_detached && _state == RUNNING && _joiner == nullptr && pthread_detach(_threadId) == 0) {
        _detached = true;
        _ownsRunnable = true;
        _deleteOnExit = true;
    }
    return _detached;
}

void Thread::stopped()
{
    Visit visit(*this);
    join(visit); // called on the thread itself, where it is refused
}

void Thread::setName(const char* name)
{
    if (name != _name.getData())
        _name.assign(name == nullptr ? "" : name);
}

void* Thread::threadfunction(void* argument)
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    Thread* const thread = static_cast<Thread*>(argument);
    if (thread == nullptr)
        return nullptr;
    if (thread->_startName.getData()[0] != '\0')
        SysCalls::setThreadName(thread->_startName.getData());
    thread->runRunnable();
    thread->stopped();
    const bool deletes = thread->endRun();
    // From this store on the object may be gone: whoever sees it may destroy or restart the thread at once.
    thread->_running = false;
    if (!deletes)
        return nullptr;
    while (thread->_visitors != 0)
        sleepMs(STOP_POLL_MS);
    delete thread;
    return nullptr;
}

void Thread::runRunnable()
{
    if (!OSTREL_CHECK_AT(FATAL, LINE_RUNNABLE, "t->_runnable", _runnable != nullptr))
        return;
    pthread_setspecific(getRunKey(), this);
    OnCancellation cleanUp([this] { endCancelledRun(this); });
    _runnable->run();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); // the work may have allowed it
    cleanUp.dismiss();
    pthread_setspecific(getRunKey(), nullptr);
}

/// Leads from a thread to the object whose work it does. The product's unwinder sometimes ends before it has come to
/// the guard on the stack, but thread-specific data are always cleaned up, so the key ends a cancelled run then. Where
/// no key is left, whoever joins sets the flag right.
pthread_key_t Thread::getRunKey()
{
    static const pthread_key_t KEY = [] {
        pthread_key_t key = PTHREAD_KEYS_MAX;
        pthread_key_create(&key, endCancelledRun);
        return key;
    }();
    return KEY;
}

void Thread::endCancelledRun(void* argument)
{
    Thread* const thread = static_cast<Thread*>(argument);
    pthread_setspecific(getRunKey(), nullptr); // once is enough: from the store on the object may be gone
    thread->endRun();
    thread->_running = false;
}

/// Whether the thread deletes the object. Settled under the mutex, so that a `detach` has either left it by now or
/// finds that it comes too late.
bool Thread::endRun()
{
    const Guard guard(_mutex);
    _state = ENDING;
    return _deleteOnExit;
}

/// A detached thread that ends takes its id with it, so it is kept from ending meanwhile.
void Thread::cancel()
{
    const Guard guard(_mutex);
    if (_state == RUNNING)
        pthread_cancel(_threadId);
}

int Thread::createThread()
{
    return _detached ? createDetached(&_threadId, threadfunction, this)
                     : pthread_create(&_threadId, nullptr, threadfunction, this);
}

/// As `pthread_join`, but safe for an id that is no longer ours: the system may have given it to another thread. An
/// object that deletes itself is not touched from the beginning of the join, as it may go before its thread.
int Thread::join(Visit& visit) const
{
    pthread_t id;
    bool deletesItself;
    {
        const Guard guard(_mutex);
        if (_detached)
            return IS_DETACHED;
        if (_state == CREATED)
            return 0;
        if (_state == JOINED)
            return ESRCH;
        if (pthread_equal(pthread_self(), _threadId) != 0)
            return EDEADLK;
        if (_joiner != nullptr)
            return EINVAL;
        _joiner = &id;
        id = _threadId;
        deletesItself = _deleteOnExit;
    }
    if (deletesItself)
        visit.leave();
    // Leaves the join to others, or the thread to the system.
    OnCancellation giveUp([&] {
        if (deletesItself)
            pthread_detach(id);
        else
            endJoin(&id, false);
    });
    const int error = joinInSteps(id);
    giveUp.dismiss();
    if (!deletesItself)
        endJoin(&id, error == 0);
    return error;
}

void Thread::endJoin(const void* joiner, bool isJoined) const
{
    const Guard guard(_mutex);
    if (_joiner != joiner)
        return; // started again meanwhile
    _joiner = nullptr;
    if (isJoined) {
        _state = JOINED;
        _running = false; // in case the thread could not
    }
}
