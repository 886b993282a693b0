#include "ostrel/Thread.h"

#include <cerrno>
#include <mutex>
#include <time.h>

#include "ostrel/Report.h"
#include "ostrel/SysCalls.h"

namespace {

// Log collectors match on file and line, so the numbers of these sites outlive edits.
enum ReportLine { LINE_RUNNABLE = 27, LINE_JOIN = 110 };

enum { STOP_POLLS = 10, STOP_POLL_MS = 10, WAIT_POLL_MS = 20, START_RETRY_MS = 200 };

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
    const timespec interval = {0, milliseconds * 1000000L};
    nanosleep(&interval, nullptr);
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
      _ending(false),
      _joinState(NOT_JOINED)
{
    setName(name);
}

Thread::~Thread()
{
    stop();
    if (_ownsRunnable)
        delete _runnable;
}

void Thread::start()
{
    const Guard guard(_mutex);
    if (_running)
        return;
    _running = true;
    OnCancellation cleanUp([this] { _running = false; });
    _startName.assign(_name);
    _ending = false;
    while (createThread() != 0) {
        _threadId = 0; // a failed creation leaves garbage
        Ostrel::reportMessage(Ostrel::Severity::RECOVERABLE, "Thread::start() Error starting thread");
        sleepMs(START_RETRY_MS);
    }
    cleanUp.dismiss();
}

void Thread::stop()
{
    if (!_running) {
        if (!_detached)
            waitFor();
        return;
    }
    if (_runnable != nullptr)
        _runnable->cancelRun();
    for (int polls = 0; _running; ++polls) {
        if (polls == STOP_POLLS) {
            cancel();
            break;
        }
        sleepMs(STOP_POLL_MS);
    }
    waitFor();
}

void Thread::waitFor() const
{
    if (_detached) {
        while (_running)
            sleepMs(WAIT_POLL_MS);
        return;
    }
    if (_threadId == 0)
        return;
    const int error = join();
    if (error != 0)
        OSTREL_REPORT_AT(RECOVERABLE, LINE_JOIN, "Join Failed: %s", getJoinError(error));
}

bool Thread::detach()
{
    const Guard guard(_mutex);
    // Once the thread has decided not to delete the object, nobody would.
    if (!_detached && _running && !_ending && pthread_detach(_threadId) == 0) {
        _detached = true;
        _ownsRunnable = true;
        _deleteOnExit = true;
    }
    return _detached;
}

void Thread::stopped()
{
    const Guard guard(_mutex);
    if (!_detached && _threadId != 0)
        join(); // called on the thread itself, where it is refused
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
    if (deletes)
        delete thread;
    return nullptr;
}

void Thread::runRunnable()
{
    if (!OSTREL_CHECK_AT(FATAL, LINE_RUNNABLE, "t->_runnable", _runnable != nullptr))
        return;
    OnCancellation cleanUp([this] {
        endRun();
        _running = false;
    });
    _runnable->run();
    cleanUp.dismiss();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); // the work may have allowed it
}

/// Whether the thread deletes the object. Settled under the mutex, so that a `detach` has either left it by now or
/// finds that it comes too late.
bool Thread::endRun()
{
    const Guard guard(_mutex);
    _ending = true;
    return _deleteOnExit;
}

/// A detached thread that ends takes its id with it, so it is kept from ending meanwhile.
void Thread::cancel()
{
    const Guard guard(_mutex);
    if (!_ending)
        pthread_cancel(_threadId);
}

int Thread::createThread()
{
    _joinState = NOT_JOINED;
    return _detached ? createDetached(&_threadId, threadfunction, this)
                     : pthread_create(&_threadId, nullptr, threadfunction, this);
}

/// As `pthread_join`, but safe for an id that is no longer ours: the system may have given it to another thread.
int Thread::join() const
{
    if (_joinState == JOINED)
        return ESRCH;
    if (pthread_equal(pthread_self(), _threadId) != 0)
        return EDEADLK;
    JoinState state = NOT_JOINED;
    if (!_joinState.compare_exchange_strong(state, JOINING))
        return state == JOINING ? EINVAL : ESRCH;

    OnCancellation giveBack([this] { _joinState = NOT_JOINED; }); // leaves the join to others
    const int error = pthread_join(_threadId, nullptr);
    giveBack.dismiss();
    _joinState = error == 0 ? JOINED : NOT_JOINED;
    return error;
}
