#include "json/JsonDeserializer.h"
#include "json/JsonParser.h"
#include "ostrel/Conditional.h"
#include "ostrel/CppSemaphore.h"
#include "ostrel/CppTimer.h"
#include "ostrel/FdInputStream.h"
#include "ostrel/FifoBuffer.h"
#include "ostrel/FileInputStream.h"
#include "ostrel/FileOutputStream.h"
#include "ostrel/Observable/observable_c.h"
#include "ostrel/ReadWriteLock.h"
#include "ostrel/SAXParser.h"
#include "ostrel/SysCalls.h"
#include "ostrel/Thread.h"
#include "ostrel/XmlStreamFilter.h"
#include "tests/support/LockProbe.h"
#include "tests/support/ReportTest.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryFile.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test across many families

namespace {

struct Trial
{
    std::function<void()> cancelled; ///< What the thread is cancelled in.
    std::function<bool()> works;     ///< Whether another thread can go on with the object.
};

struct Row
{
    const char* operation;
    std::function<Trial()> start;
    unsigned int mostPoints = 100; ///< Fewer where it waits for ever, or for long.
};

template <class Object>
std::function<Trial()> on(void (*cancelled)(Object&), bool (*works)(Object&))
{
    return [=] {
        const auto object = std::make_shared<Object>();
        return Trial{[=] { cancelled(*object); }, [=] { return works(*object); }};
    };
}

/// Where the same call is to work afterwards.
template <class Object>
std::function<Trial()> on(bool (*work)(Object&))
{
    return [=] {
        const auto object = std::make_shared<Object>();
        return Trial{[=] { work(*object); }, [=] { return work(*object); }};
    };
}

struct Ring : FifoBuffer
{
    Ring() : FifoBuffer(4) {}
    unsigned char bytes[6] = {};
    unsigned char* data = nullptr;
};

struct Locks
{
    Locks() { readWrite.acquireWriteLock(); }
    Mutex mutex{Mutex::NORMAL};
    CheckedMutex checked, taken;
    AutoPtr<NestedScopeLock> taker{new NestedScopeLock(taken)};
    ReadWriteLock readWrite;
    Conditional condition;
    Semaphore semaphore{0};
};

bool areFree(Locks& locks)
{
    locks.taker.reset();
    const NestedScopeLock checked(locks.checked, 0, 1), taken(locks.taken, 0, 1);
    locks.readWrite.releaseLock();
    locks.readWrite.acquireReadLock(); // nobody is counted as waiting
    locks.readWrite.releaseLock();
    locks.readWrite.acquireWriteLock();
    locks.semaphore.post();
    return locks.mutex.lock() == 0 && locks.mutex.unlock() == 0 && LockProbe::hasLocked(checked) &&
           LockProbe::hasLocked(taken) && locks.semaphore.tryWait();
}

struct Running : Runnable
{
    Running() { thread.start(); }
    void run() override
    {
        while (!isAsked)
            std::this_thread::yield();
    }
    void cancelRun() override { isAsked = true; }
    std::atomic<bool> isAsked{false};
    Thread thread{this, "", false};
};

/// Handlers that pass a cancellation point, that of XML on demand.
struct Passing : SAXHandler, Deserializer::Handler
{
    using Deserializer::Handler::onInteger;
    void startElement(const std::string&, const std::map<std::string, std::string>&) override
    {
        if (passesInXml)
            pass();
    }
    void endElement(const std::string&) override {}
    void charData(const std::string&) override {}
    void finished() override {}
    bool parseError() override { return true; }
    void onInteger(WeakPtr<Deserializer>, const char*, int) override { pass(); }
    static void pass() { poll(nullptr, 0, 0); }

    bool passesInXml = false;
    TemporaryFile file;
    json::JsonParser parser;
    json::JsonDeserializer deserializer;
    SAXParser sax{WeakPtr<SAXHandler>(*this)};
};

struct Subject
{
    Subject() { addObserver(observable, 1, observer); }
    ~Subject()
    {
        destroyObservable(observable);
        destroyObserver(observer);
    }
    char buffer[64];
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    ObservablePtr observable = createObservable(buffer, sizeof(buffer), &mutex);
    ObserverPtr observer = createObserver([](ObservablePtr, Event_Type, const void*) { Passing::pass(); });
};

const Row ROWS[] = {
    {"FifoBuffer::read",
     on<Ring>([](Ring& ring) { ring.read(ring.data); },
              [](Ring& ring) {
                  ring.write(ring.bytes, 2);
                  return ring.read(ring.data) == 2;
              }),
     3},
    {"FifoBuffer::write",
     on<Ring>([](Ring& ring) { ring.write(ring.bytes, 6); }, [](Ring& ring) { return ring.read(ring.data) == 4; }), 3},
    {"FifoBuffer::writeAllTogether",
     on<Ring>(
         [](Ring& ring) {
             ring.write(ring.bytes, 3);
             ring.writeAllTogether(ring.bytes, 4);
         },
         [](Ring& ring) { return ring.read(ring.data) == 3; }),
     3},
    {"Conditional::wait",
     on<Locks>(
         [](Locks& locks) {
             const std::lock_guard<Mutex> guard(locks.mutex);
             locks.condition.relTimedWait(locks.mutex, {0, 1});
             for (;;)
                 locks.condition.wait(locks.mutex);
         },
         areFree),
     3},
    {"Conditional::wait checked",
     on<Locks>(
         [](Locks& locks) {
             const NestedScopeLock guard(locks.checked);
             locks.condition.relTimedWait(locks.checked, {0, 1});
             for (;;)
                 locks.condition.wait(locks.checked);
         },
         areFree),
     3},
    {"NestedScopeLock", on<Locks>([](Locks& locks) { NestedScopeLock(locks.taken, 1, 3); }, areFree)},
    {"ReadWriteLock::acquireReadLock", on<Locks>([](Locks& locks) { locks.readWrite.acquireReadLock(); }, areFree), 3},
    {"ReadWriteLock::acquireWriteLock", on<Locks>([](Locks& locks) { locks.readWrite.acquireWriteLock(); }, areFree),
     3},
    {"Semaphore::wait", on<Locks>([](Locks& locks) { locks.semaphore.wait(); }, areFree), 3},
    {"Semaphore::timedWait", on<Locks>([](Locks& locks) { locks.semaphore.timedWait(600); }, areFree), 3},
    {"Timer::waitSeconds", on<Timer>([](Timer& timer) { return timer.waitSeconds(0) == Timer::WAIT_ENDED; })},
    {"Thread::waitFor",
     on<Running>([](Running& running) { running.thread.waitFor(); },
                 [](Running& running) {
                     running.thread.stop();
                     return !running.thread.isRunning();
                 }),
     2},
    {"FdInputStream::read", on<Passing>([](Passing& on) {
         FdInputStream in(on.file.write("abcd"));
         in.setTimeOut(1);
         unsigned char bytes[4];
         return in.read(bytes, 4) == 4;
     })},
    {"FileInputStream::read, FileOutputStream::write flush", on<TemporaryFile>([](TemporaryFile& file) {
         unsigned char bytes[4] = {};
         FileOutputStream out(file.file);
         rewind(file.file);
         const int done = out.write(bytes, 4) + out.flush();
         rewind(file.file);
         return done + FileInputStream(file.file).read(bytes, 4) == 8;
     })},
    {"SysCalls::writeAll readAll", on<TemporaryFile>([](TemporaryFile& file) {
         const int fd = file.write("abcd");
         char bytes[4];
         return SysCalls::readAll(fd, bytes, 4) + SysCalls::writeAll(fd, bytes, 4) + SysCalls::fsync(fd) == 8;
     })},
    {"JsonParser::parse", on<Passing>([](Passing& on) { return on.parser.parse(on.file.write("[1]"), 0) == 0; })},
    {"JsonDeserializer::parse", on<Passing>([](Passing& on) {
         FdInputStream in(on.file.write("[1,[2]]"));
         return on.deserializer.parse(in, static_cast<Deserializer::Handler*>(&on)) == 0;
     })},
    {"XmlStreamFilter::start", on<Passing>([](Passing& on) {
         on.sax.endDocument(); // what was begun
         FdInputStream in(on.file.write("<a><b/></a>"));
         return XmlStreamFilter(in, on.sax, XmlStreamFilter::REFUSE_MALFORMED).start() == 0;
     })},
    {"SAXParser::parse", on<Passing>(
                             [](Passing& on) {
                                 on.passesInXml = true;
                                 on.sax.parse("<a>", 3);
                             },
                             [](Passing&) { return true; })}, // only to be destroyed
    {"notifyObservers", on<Subject>([](Subject& subject) { notifyObservers(subject.observable, 1); },
                                    [](Subject& subject) {
                                        return pthread_mutex_trylock(&subject.mutex) == 0 &&
                                               pthread_mutex_unlock(&subject.mutex) == 0 &&
                                               removeObserver(subject.observable, 1, subject.observer) == OBSERVABLE_OK;
                                    })},
};

} // namespace

using CancellationSweepTest = ReportTest;

TEST_F(CancellationSweepTest, EachPointLeavesTheLocksFreeAndTheObjectUsable)
{
    if (!SystemCallFaults::areWithinReach())
        GTEST_SKIP() << "the calls have other names where times have 64 bits";
    for (const Row& row : ROWS) {
        unsigned int point = 0;
        for (bool isReached = true; isReached && point < row.mostPoints; ++point) {
            const Trial trial = row.start();
            const int next = getNextDescriptor();
            SystemCallFaults faults(SystemCallFaults::CANCEL, point);
            std::thread([&] { faults.during(trial.cancelled); }).join();
            isReached = faults.getCalls().size() > point;
            SCOPED_TRACE(std::string(row.operation) + (isReached ? ": " + faults.getCalls()[point] : ""));
            EXPECT_TRUE(trial.works()) << point;
            EXPECT_EQ(getNextDescriptor(), next) << "a descriptor is left";
        }
        EXPECT_GT(point, 1u) << row.operation << " has no cancellation point";
    }
    takeReports(); // of threads that were joined already
}
