#include <set>
#include <sstream>

#include "json/JsonParser.h"
#include "ostrel/Conditional.h"
#include "ostrel/CppSemaphore.h"
#include "ostrel/CppTimer.h"
#include "ostrel/FdInputStream.h"
#include "ostrel/FifoBuffer.h"
#include "ostrel/FileInputStream.h"
#include "ostrel/FileOutputStream.h"
#include "ostrel/SocketPair.h"
#include "ostrel/SysCalls.h"
#include "ostrel/Thread.h"
#include "tests/support/ReportTest.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryFile.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test across many families

namespace {

using Faults = SystemCallFaults;

/// Does the same to its object each time, and says what came of it.
using Operation = std::function<std::string(Faults&)>;

struct Row
{
    const char* operation;
    std::function<Operation()> start;
    const char* outcomes; ///< "call error: outcome;", with the lines of the reports. All other faults change nothing.
};

/// An operation on a new object.
template <class Object>
std::function<Operation()> on(std::string (*act)(Object&, Faults&))
{
    return
        [act] { return [act, object = std::make_shared<Object>()](Faults& faults) { return act(*object, faults); }; };
}

/// A file with what stands on it.
struct File : TemporaryFile
{
    File() { write("abcd"); }
    FileInputStream in{file};
    FileOutputStream out{file};
    json::JsonParser parser;
};

struct FreeSemaphore : Semaphore
{
    FreeSemaphore() : Semaphore(0) {}
};

struct Ring : FifoBuffer
{
    Ring() : FifoBuffer(8) {}
};

struct Nothing : Runnable
{
    void run() override {}
    void cancelRun() override {}
};

template <class Stream>
std::string readFour(Faults& faults, Stream& in)
{
    unsigned char bytes[5] = {};
    const int count = faults.during([&] { return in.read(bytes, 4); });
    return std::string(bytes, bytes + std::max(count, 0)) + (in.getErrorString() == nullptr ? "" : "!");
}

const Row ROWS[] = {
    {"FdInputStream::setTimeOut read", on<File>([](File& file, Faults& faults) {
         FdInputStream in(file.write("abcd"));
         faults.during([&] { in.setTimeOut(1); });
         return readFour(faults, in);
     }), // a read that failed is tried again, and remembered
     "ppoll: !; read EAGAIN: abcd!; read EIO: abcd!"},
    {"FileInputStream::read", on<File>([](File& file, Faults& faults) {
         rewind(file.file);
         return readFour(faults, file.in);
     }),
     "fileno: ; ppoll EAGAIN: ; ppoll EIO: ; fread EIO: !"},
    {"FileOutputStream::write flush", on<File>([](File& file, Faults& faults) {
         rewind(file.file);
         const auto* const bytes = reinterpret_cast<const unsigned char*>("abcd");
         const int count = faults.during([&] { return file.out.write(bytes, 4); });
         const int flushed = faults.during([&] { return file.out.flush(); });
         return std::to_string(count) + std::to_string(flushed) + (file.out.getErrorString() == nullptr ? "" : "!");
     }),
     "fwrite short: 10; fwrite: 00!; fflush: 4-1!"},
    {"SysCalls", on<File>([](File& file, Faults& faults) {
         char bytes[5] = "abcd";
         const int fd = file.write("    ");
         timeval none = {0, 0};
         return std::to_string(faults.during([&] {
                    const int written = SysCalls::writeAll(fd, bytes, 4);
                    lseek(fd, 0, SEEK_SET);
                    return written + SysCalls::readAll(fd, bytes, 4) + SysCalls::fsync(fd) +
                           SysCalls::poll(nullptr, 0, 0) + SysCalls::select(0, nullptr, nullptr, nullptr, &none) +
                           SysCalls::fflush(file.file) + SysCalls::close(dup(fd));
                })) +
                bytes;
     }), // an interrupted close is not repeated: the number may be in use again
     "write EAGAIN: 3    ; write EIO: 3     96; read EAGAIN: 3abcd; read EIO: 3abcd 101; fsync EAGAIN: 7abcd; "
     "fsync EIO: 7abcd 136; poll EAGAIN: 7abcd; poll EIO: 7abcd 156; select EAGAIN: 7abcd; select EIO: 7abcd 165; "
     "fflush EAGAIN: 7abcd; fflush EIO: 7abcd 131; close: 7abcd"},
    {"Semaphore", on<FreeSemaphore>([](FreeSemaphore& semaphore, Faults& faults) {
         while (semaphore.tryWait()) {
         }
         semaphore.post();
         return std::to_string(faults.during([&] {
             semaphore.wait();
             semaphore.post();
             semaphore.timedWait(0);
             return semaphore.value();
         }));
     }),
     "sem_wait EAGAIN: 1 37; sem_wait EIO: 1 37; sem_post: 0 66; clock_gettime EAGAIN: 1 61; clock_gettime EIO: 1 61; "
     "sem_timedwait EAGAIN: 1 61; sem_timedwait EIO: 1 61; sem_getvalue: 0 94"},
    {"Semaphore::Semaphore tryWait", on<int>([](int&, Faults& faults) {
         return std::string(faults.during([] { return Semaphore(1).tryWait(); }) ? "taken" : "");
     }),
     "sem_init:  23; sem_trywait EAGAIN: ; sem_trywait EIO: ; sem_destroy: taken 28"},
    {"SocketPair", on<int>([](int&, Faults& faults) {
         return std::to_string(faults.during([] {
             SocketPair pair;
             return std::min(pair.getSocket(1), 0) + pair.setBlocking(false, 0);
         }));
     }),
     "socketpair: -2 35 27 27; fcntl#0: -1; fcntl EAGAIN: -1; fcntl EIO: -1; close: 0 27"},
    {"Timer::waitSeconds", on<Timer>([](Timer& timer, Faults& faults) {
         return std::to_string(faults.during([&] { return timer.waitSeconds(0); }));
     }),
     ""},
    {"Timer::stop", on<Timer>([](Timer& timer, Faults& faults) {
         const auto waiter = std::async(std::launch::async, [&] { timer.waitSeconds(600); });
         while (waiter.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
             faults.during([&] { timer.stop(); }); // one that is lost is sent again
         return std::string("ended");
     }),
     "send short: stops the process"},
    {"Thread::start waitFor", on<Nothing>([](Nothing& nothing, Faults& faults) {
         Thread thread(&nothing, "", true), joined(&nothing, "", false);
         faults.during([&] {
             thread.start();
             joined.start();
             joined.waitFor();
         });
         while (thread.isRunning() || joined.isRunning())
             std::this_thread::yield();
         return std::string("done");
     }), // the destructor joins once more
     "pthread_create: done 0 110; pthread_timedjoin_np: done 110"},
    {"FifoBuffer::read", on<Ring>([](Ring& ring, Faults& faults) {
         std::thread writer([&] {
             unsigned char byte = 'a';
             ring.write(&byte, 1);
         });
         unsigned char* data = nullptr;
         const int count = faults.during([&] { return ring.read(data); });
         writer.join();
         return std::string(data, data + count);
     }),
     ""},
    {"Conditional::relTimedWait", on<Conditional>([](Conditional& condition, Faults& faults) {
         Mutex mutex(Mutex::NORMAL);
         const std::lock_guard<Mutex> guard(mutex);
         return std::string(faults.during([&] { return condition.relTimedWait(mutex, {0, 1}); }) ? "late" : "");
     }),
     "pthread_cond_timedwait: "},
    {"JsonParser::parse", on<File>([](File& file, Faults& faults) {
         const int fd = file.write("[1] ");
         return std::to_string(faults.during([&] { return file.parser.parse(fd, 0); }));
     }),
     "fcntl#0: -1; fdopen: -1; fileno#1: -1; ppoll EAGAIN: -1; ppoll EIO: -1; fread EIO: -1"},
};

/// What the row says of a fault: the more precise key goes first. A short count has only its own.
std::string findOutcome(const Row& row, const std::string& call, size_t number, const std::string& error,
                        const std::string& usual, std::set<std::string>& used)
{
    std::map<std::string, std::string> outcomes;
    std::istringstream text(row.outcomes);
    for (std::string item; std::getline(text >> std::ws, item, ';');)
        outcomes[item.substr(0, item.find(':'))] = item.substr(item.find(':') + 2);
    for (const std::string& key : {call + " " + error, call + "#" + std::to_string(number), call}) {
        const auto found = outcomes.find(key);
        if (found != outcomes.end() && (error != "short" || key == call + " short")) {
            used.insert(key);
            return found->second;
        }
    }
    return usual;
}

} // namespace

class SystemCallSweepTest : public ReportTest
{
protected:
    std::string run(const Operation& operation, Faults& faults)
    {
        std::string outcome = operation(faults);
        for (const Report& report : takeReports())
            outcome += " " + std::to_string(report.line); // 0 of a thread that could not be started
        return outcome;
    }

    void sweep(const Row& row)
    {
        Faults counter(Faults::COUNT);
        const std::string usual = run(row.start(), counter);
        const std::vector<std::string>& calls = counter.getCalls();
        std::set<std::string> used;
        for (unsigned int index = 0; index < calls.size(); ++index) {
            for (const auto& [name, error] :
                 {std::pair("EINTR", EINTR), {"EAGAIN", EAGAIN}, {"EIO", EIO}, {"short", 0}}) {
                const auto number = static_cast<size_t>(std::count(&calls[0], &calls[index], calls[index]));
                SCOPED_TRACE(calls[index] + "#" + std::to_string(number) + " " + name);
                const std::string expected = findOutcome(row, calls[index], number, name, usual, used);
                if (expected == "stops the process")
                    continue;
                const Operation operation = row.start();
                Faults faults(error == 0 ? Faults::SHORTEN : Faults::FAIL, index, error), none(Faults::COUNT);
                EXPECT_EQ(run(operation, faults), expected);
                EXPECT_EQ(run(operation, none), usual) << "afterwards";
            }
        }
        EXPECT_EQ(static_cast<long>(used.size()), std::count(row.outcomes, strchr(row.outcomes, '\0'), ':'));
    }
};

TEST_F(SystemCallSweepTest, EachFailureHasItsOutcomeAndTheSameObjectWorksAfterwards)
{
    if (!Faults::areWithinReach())
        GTEST_SKIP() << "the calls have other names where times have 64 bits";
    for (const Row& row : ROWS) {
        SCOPED_TRACE(row.operation);
        const int next = getNextDescriptor();
        sweep(row);
        EXPECT_EQ(getNextDescriptor(), next) << "a descriptor is left";
    }
}
