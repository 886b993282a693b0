#include "json/JsonDeserializer.h"
#include "json/JsonParser.h"
#include "ostrel/CppSemaphore.h"
#include "ostrel/CppTimer.h"
#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/FdInputStream.h"
#include "ostrel/FifoBuffer.h"
#include "ostrel/FileInputStream.h"
#include "ostrel/FileOutputStream.h"
#include "ostrel/Observable/observable_c.h"
#include "ostrel/SocketPair.h"
#include "ostrel/SysCalls.h"
#include "ostrel/Threadable.h"
#include "ostrel/XmlStreamFilter.h"
#include "tests/support/LockProbe.h"
#include "tests/support/ReportTest.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryFile.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test across many families

namespace {

using Faults = SystemCallFaults;

void passPoint()
{
    pthread_testcancel();
}

struct JsonHandler : Deserializer::Handler
{
    using Deserializer::Handler::onInteger;
    void onInteger(WeakPtr<Deserializer>, const char*, int) override { passPoint(); }
};

struct Work : Threadable
{
    Work() : Threadable("", false, false) {}
    void run() override {}
    void cancelRun() override {}
};

/// What makes system calls, with a lock held where others are to wait for it.
struct Objects
{
    Objects()
    {
        readWrite.acquireWriteLock();
        full.write(bytes, 4);
        addObserver(observable, 1, observer);
    }
    ~Objects()
    {
        destroyObservable(observable);
        destroyObserver(observer);
    }

    /// The count, and a hundred more with an error.
    int read(InputStream& in) { return in.read(bytes, 4) + (in.getErrorString() == nullptr ? 0 : 100); }

    unsigned char bytes[4] = {};
    unsigned char* data = nullptr;
    Mutex mutex{Mutex::NORMAL};
    CheckedMutex checked, taken;
    AutoPtr<NestedScopeLock> taker{new NestedScopeLock(taken)};
    ReadWriteLock readWrite;
    Conditional condition;
    Semaphore semaphore{0};
    FifoBuffer empty{4}, full{4};
    Timer timer;
    TemporaryFile file;
    json::JsonParser parser;
    json::JsonDeserializer deserializer;
    JsonHandler jsonHandler;
    DataObjectSaxHandler xmlHandler;
    SAXParser sax{WeakPtr<SAXHandler>(xmlHandler)};
    char registry[64];
    pthread_mutex_t subjectMutex = PTHREAD_MUTEX_INITIALIZER;
    ObservablePtr observable = createObservable(registry, sizeof(registry), &subjectMutex);
    ObserverPtr observer = createObserver([](ObservablePtr, Event_Type, const void*) { passPoint(); });
    Work work;
};

/// What can be done with them afterwards, by another thread.
void use(Objects& on)
{
    on.taker.reset();
    const NestedScopeLock checked(on.checked, 0, 1), taken(on.taken, 0, 1);
    EXPECT_TRUE(LockProbe::hasLocked(checked) && LockProbe::hasLocked(taken));
    EXPECT_EQ(on.mutex.lock() + on.mutex.unlock(), 0);
    EXPECT_TRUE(LockProbe::areWaiting(on.readWrite, 0, 0));
    on.semaphore.post();
    EXPECT_TRUE(on.semaphore.tryWait());
    on.empty.write(on.bytes, 2);
    EXPECT_EQ(on.empty.read(on.data) + on.full.read(on.data), 6);
    on.work.stop();
    EXPECT_FALSE(on.work.isRunning());
    EXPECT_EQ(pthread_mutex_trylock(&on.subjectMutex) + pthread_mutex_unlock(&on.subjectMutex), 0);
}

enum : unsigned int { ALL_POINTS = 100, FOR_EVER = 3, NO_POINT = 0 };

struct Row
{
    const char* operation;
    unsigned int points; ///< At how many a thread is cancelled. What waits for ever is not called otherwise.
    int (*act)(Objects&);
    const char* outcomes = ""; ///< "call error: outcome;", with the lines of reports. Other failures change nothing.
};

const Row ROWS[] = {
    {"FifoBuffer::read", FOR_EVER, [](Objects& on) { return on.empty.read(on.data); }},
    {"FifoBuffer::write", FOR_EVER, [](Objects& on) { return on.full.write(on.bytes, 1), 0; }},
    {"FifoBuffer::writeAllTogether", FOR_EVER, [](Objects& on) { return +on.full.writeAllTogether(on.bytes, 4); }},
    {"Conditional::wait", FOR_EVER,
     [](Objects& on) -> int {
         const std::lock_guard<Mutex> guard(on.mutex);
         for (;;)
             on.condition.wait(on.mutex);
     }},
    {"ReadWriteLock::acquireReadLock", FOR_EVER, [](Objects& on) { return on.readWrite.acquireReadLock(), 0; }},
    {"ReadWriteLock::acquireWriteLock", FOR_EVER, [](Objects& on) { return on.readWrite.acquireWriteLock(), 0; }},
    {"Semaphore::wait", FOR_EVER, [](Objects& on) { return on.semaphore.wait(), 0; }},
    {"Semaphore::timedWait", FOR_EVER, [](Objects& on) { return on.semaphore.timedWait(600), 0; }},
    {"Conditional::relTimedWait", ALL_POINTS,
     [](Objects& on) {
         const NestedScopeLock guard(on.checked);
         return +on.condition.relTimedWait(on.checked, {0, 1});
     },
     "pthread_cond_timedwait: 0"},
    {"NestedScopeLock", ALL_POINTS, [](Objects& on) { return +LockProbe::hasLocked(NestedScopeLock(on.taken, 1, 3)); }},
    {"Semaphore", NO_POINT,
     [](Objects&) {
         Semaphore semaphore(1);
         semaphore.tryWait();
         semaphore.post();
         semaphore.post(); // one may fail
         semaphore.wait();
         semaphore.timedWait(0);
         return semaphore.value();
     },
     "sem_init: 0 23; sem_trywait EAGAIN: 1; sem_trywait EIO: 1; sem_post: 0 66; sem_wait EAGAIN: 1 37; "
     "sem_wait EIO: 1 37; clock_gettime EAGAIN: 1 61; clock_gettime EIO: 1 61; sem_timedwait EAGAIN: 1 61; "
     "sem_timedwait EIO: 1 61; sem_getvalue: 0 94; sem_destroy: 0 28"},
    {"Timer::waitSeconds", ALL_POINTS, [](Objects& on) { return +on.timer.waitSeconds(0); }},
    {"Timer::stop", NO_POINT,
     [](Objects& on) {
         const auto waiter = std::async(std::launch::async, [&] { on.timer.waitSeconds(600); });
         while (waiter.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
             on.timer.stop(); // one that is lost is sent again
         return 0;
     },
     "send short: stops the process"},
    {"Thread::waitFor", FOR_EVER, [](Objects& on) { return on.work.start(), on.work.waitFor(), 0; }},
    {"Thread::start waitFor", NO_POINT, [](Objects& on) { return on.work.start(), on.work.waitFor(), 0; },
     "pthread_create: 0 0; pthread_timedjoin_np: 0 110"},
    {"Thread::start detached", NO_POINT,
     [](Objects& on) {
         Thread thread(&on.work, "", true);
         return thread.start(), thread.waitFor(), 0;
     },
     "pthread_create: 0 0"},
    {"SocketPair", NO_POINT,
     [](Objects&) {
         SocketPair pair;
         return std::min(pair.getSocket(1), 0) + pair.setBlocking(false, 0);
     },
     "socketpair: -2 35 27 27; fcntl#0: -1; fcntl EAGAIN: -1; fcntl EIO: -1; close: 0 27"},
    {"FdInputStream::read", ALL_POINTS,
     [](Objects& on) {
         FdInputStream in(on.file.write("abcd"));
         in.setTimeOut(1);
         return on.read(in);
     },
     "ppoll: 100; read EAGAIN: 104; read EIO: 104"},
    {"FileInputStream::read", ALL_POINTS,
     [](Objects& on) {
         FileInputStream in(on.file.write("abcd") == -1 ? nullptr : on.file.file);
         return on.read(in);
     },
     "fileno: 0; ppoll EAGAIN: 0; ppoll EIO: 0; fread EIO: 100"},
    {"FileOutputStream::write flush", ALL_POINTS,
     [](Objects& on) {
         FileOutputStream out(on.file.write("abcd") == -1 ? nullptr : on.file.file);
         const int count = out.write(on.bytes, 4);
         return 10 * count + out.flush() + (out.getErrorString() == nullptr ? 0 : 100);
     },
     "fwrite short: 10; fwrite: 100; fflush: 139"},
    {"SysCalls", ALL_POINTS,
     [](Objects& on) {
         const int count = SysCalls::readAll(on.file.write("abcd"), on.bytes, 4);
         return count + SysCalls::writeAll(on.file.fd, on.bytes, 4) + SysCalls::poll(nullptr, 0, 0) +
                SysCalls::fflush(on.file.file);
     },
     "read EAGAIN: 3; read EIO: 3 101; write EAGAIN: 3; write EIO: 3 96; poll EAGAIN: 7; poll EIO: 7 156; "
     "fflush EAGAIN: 7; fflush EIO: 7 131"},
    {"JsonParser::parse", ALL_POINTS, [](Objects& on) { return on.parser.parse(on.file.write("[1] "), 0); },
     "fcntl#0: -1; fdopen: -1; fileno#1: -1; ppoll EAGAIN: -1; ppoll EIO: -1; fread EIO: -1"},
    {"JsonDeserializer::parse", ALL_POINTS,
     [](Objects& on) {
         FdInputStream in(on.file.write("[1,[2]]"));
         return on.deserializer.parse(in, on.jsonHandler);
     }},
    {"XmlStreamFilter::start", ALL_POINTS,
     [](Objects& on) {
         on.sax.endDocument(); // what was begun
         FdInputStream in(on.file.write("<a><b/></a>"));
         return XmlStreamFilter(in, on.sax, XmlStreamFilter::REFUSE_MALFORMED).start();
     },
     "read EAGAIN: -1 173; read EIO: -1 173"},
    {"notifyObservers", ALL_POINTS, [](Objects& on) { return +notifyObservers(on.observable, 1); }},
};

/// What the row says of a fault: the more precise key goes first. A short count has only its own.
std::string findOutcome(const Row& row, const std::string& call, long number, const std::string& error,
                        const std::string& usual)
{
    const std::string outcomes = std::string("; ") + row.outcomes + ";";
    for (const std::string& key : {" " + error, "#" + std::to_string(number), std::string()}) {
        const std::string begin = "; " + call + key + ": ";
        const size_t place = outcomes.find(begin);
        if (place != std::string::npos && (error != "short" || key == " short"))
            return outcomes.substr(place + begin.size(), outcomes.find(';', place + 1) - place - begin.size());
    }
    return usual;
}

} // namespace

class SystemCallSweepTest : public ReportTest
{
protected:
    void SetUp() override
    {
        if (!Faults::areWithinReach())
            GTEST_SKIP()
                << "calls are out of reach: of the thread sanitizer, or by other names where times have 64 bits";
    }

    std::string run(const Row& row, Objects& objects, Faults faults, std::vector<std::string>* calls = nullptr)
    {
        takeReports(); // of objects that are gone
        std::string outcome = std::to_string(faults.during([&] { return row.act(objects); }));
        for (const Report& report : takeReports())
            outcome += " " + std::to_string(report.line); // 0 of a thread that could not be started
        if (calls != nullptr)
            *calls = faults.getCalls();
        return outcome;
    }

    void failEach(const Row& row)
    {
        std::vector<std::string> calls;
        Objects undisturbed;
        const std::string usual = run(row, undisturbed, Faults(Faults::COUNT), &calls);
        for (unsigned int i = 0; i < calls.size(); ++i) {
            for (const auto& [name, error] :
                 {std::pair("EINTR", EINTR), {"EAGAIN", EAGAIN}, {"EIO", EIO}, {"short", 0}}) {
                const auto number = std::count(&calls[0], &calls[i], calls[i]);
                SCOPED_TRACE(calls[i] + "#" + std::to_string(number) + " " + name);
                const std::string expected = findOutcome(row, calls[i], number, name, usual);
                if (expected == "stops the process")
                    continue;
                Objects objects;
                EXPECT_EQ(run(row, objects, Faults(error == 0 ? Faults::SHORTEN : Faults::FAIL, i, error)), expected);
                EXPECT_EQ(run(row, objects, Faults(Faults::COUNT)), usual) << "afterwards";
                use(objects);
            }
        }
    }
};

TEST_F(SystemCallSweepTest, EachFailureHasItsOutcomeAndTheSameObjectsWorkAfterwards)
{
    for (const Row& row : ROWS) {
        SCOPED_TRACE(row.operation);
        const int next = getNextDescriptor();
        if (row.points != FOR_EVER)
            failEach(row);
        EXPECT_EQ(getNextDescriptor(), next) << "a descriptor is left";
    }
    takeReports();
}

TEST_F(SystemCallSweepTest, CancellationAtEachPointLeavesTheLocksFreeAndTheObjectsUsable)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer takes the frames that a cancellation leaves behind for still guarded";
#endif
    for (const Row& row : ROWS) {
        unsigned int point = 0;
        Objects undisturbed;
        const int usual = row.points == FOR_EVER ? 0 : row.act(undisturbed);
        for (bool isReached = true; isReached && point < row.points; ++point) {
            Objects objects;
            const int next = getNextDescriptor();
            Faults faults(Faults::CANCEL, point);
            std::thread([&] { faults.during([&] { row.act(objects); }); }).join();
            isReached = faults.getCalls().size() > point;
            SCOPED_TRACE(std::string(row.operation) + (isReached ? ": " + faults.getCalls()[point] : ""));
            EXPECT_EQ(getNextDescriptor(), next) << "a descriptor is left";
            EXPECT_EQ(row.points == FOR_EVER ? usual : row.act(objects), usual);
            use(objects);
        }
        EXPECT_TRUE(point > 1 || row.points == NO_POINT) << row.operation << " has no cancellation point";
        takeReports(); // of an empty document, and of threads that are joined again
    }
}
