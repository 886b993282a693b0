#include <sys/prctl.h>

#include "ostrel/BufferedOutputStream.h"
#include "ostrel/FdInputStream.h"
#include "ostrel/FifoBuffer.h"
#include "ostrel/FileInputStream.h"
#include "ostrel/FileOutputStream.h"
#include "ostrel/SocketPair.h"
#include "ostrel/Threadable.h"
#include "tests/support/ReportTest.h"
#include "tests/support/Waiting.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of what many families do when cancelled

extern "C" void callWithoutUnwindTables(void (*function)());

struct ThreadProbe
{
    static pthread_key_t getRunKey() { return Thread::getRunKey(); }

    /// Whether a call has begun that joins, or any.
    static bool isEntered(const Thread& thread, bool joins)
    {
        return eventually([&] {
            const std::lock_guard<Mutex> guard(thread._mutex);
            return joins ? thread._joiner != nullptr : thread._visitors > 0;
        });
    }
};

namespace {

std::atomic<int> destroyed{0};

/// Does what it is told; if told nothing, runs until asked to stop.
class Work : public Runnable
{
public:
    explicit Work(std::function<void()> body = nullptr) : _body(std::move(body)) {}
    ~Work() override { ++destroyed; }

    void run() override
    {
        _body ? _body() : void(eventually([this] { return asked.load(); }));
        ++returns;
    }
    void cancelRun() override { asked = true; }

    std::atomic<bool> asked{false};
    std::atomic<int> returns{0};

private:
    std::function<void()> _body;
};

void waitToBeCancelled()
{
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    for (;; std::this_thread::yield())
        pthread_testcancel();
}

} // namespace

class ThreadTest : public ReportTest
{
protected:
    void expectJoinErrors(int count, const char* reason)
    {
        while (count-- > 0)
            expectReport(Severity::RECOVERABLE, "Thread", 110, (std::string("'Join Failed: ") + reason + "'").c_str());
    }
};

TEST_F(ThreadTest, StopAsksThenCancels)
{
    Work cooperative, slow([&] {
        eventually([&] { return slow.asked.load(); });
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
    });
    Work cancellable(waitToBeCancelled), cut([] { callWithoutUnwindTables(waitToBeCancelled); });
    signal(SIGALRM, [](int) {});
    ualarm(2000, 2000); // interrupts each sleep
    for (Work* work : {&cooperative, &slow, &cancellable, &cut}) {
        const bool isCancelled = work == &cancellable || work == &cut;
        for (bool detached : {false, true}) {
            Thread thread(work, nullptr, detached);
            thread.stop();
            EXPECT_EQ(thread.detach(), detached) << "before the start";
            thread.start();
            thread.start();
            EXPECT_TRUE(thread.isRunning());
            EXPECT_GE(getDurationMs([&] { thread.stop(); }), isCancelled ? 100 : 0);
            EXPECT_FALSE(thread.isRunning());
            EXPECT_EQ(work->returns.exchange(0), isCancelled ? 0 : 1);
            EXPECT_TRUE(work->asked.exchange(false));
        }
    }
    ualarm(0, 0);
    expectJoinErrors(4, "Thread not found"); // by the destructors of the joined ones
}

TEST_F(ThreadTest, NamesAndMisuse)
{
    struct Named : Threadable
    {
        Named() : Threadable("twenty-character-nam", false, true) {}
        void run() override
        {
            *shown == '\0' ? waitFor() : stop();
            prctl(PR_GET_NAME, shown);
        }
        char shown[16] = "";
    };
    {
        Named named;
        named.start();
        named.setName("0123456789012345678901234567890123456789");
        named.waitFor();
        EXPECT_STREQ(named.shown, "twenty-characte");
        EXPECT_STREQ(named.getName(), "0123456789012345678901234567890");
        named.start(); // once more, with the same object
        named.waitFor();
        EXPECT_STREQ(named.shown, "012345678901234");
        Thread(nullptr, "", false).start();
    }
    expectJoinErrors(2, "Join would cause deadlock"); // by each run
    expectFailedCheck(Severity::FATAL, "Thread", 27, "t->_runnable");
    expectJoinErrors(2, "Thread not found"); // by the base's destructor and its thread's
    Work().Runnable::cancelRun();
    expectFailedCheck(Severity::FATAL, "Runnable", 30, "assert_not_reached");
}

TEST_F(ThreadTest, JoinedIdMayBelongToAnotherThread)
{
    Work first([] {}), second;
    Thread other(&second, "other", false);
    AutoPtr<Thread> stale(new Thread(&first, "stale", false));
    stale->start();
    stale->waitFor();
    other.start(); // does not end by itself
    ASSERT_TRUE(pthread_equal(other.getThreadId(), stale->getThreadId())) << "the id is given out again";
    stale.reset();
    expectJoinErrors(1, "Thread not found");
    EXPECT_TRUE(other.isRunning());
}

TEST_F(ThreadTest, DetachedObjectsAreDestroyedOnce)
{
    const long before = AllocationFaults::getLiveBlocks();
    destroyed = 0;
    for (int round = 0; round < 200; ++round) {
        (new Thread(AutoPtr<Runnable>(new Work([] {})), "", true, true))->start();
        AutoPtr<Work> work(new Work([] {}));
        AutoPtr<Thread> thread(new Thread(work.get(), "", false));
        thread->start();
        if (thread->detach()) { // which may come too late
            work.release();
            thread.release();
        }
    }
    EXPECT_TRUE(eventually([&] { return AllocationFaults::getLiveBlocks() == before; }));
    EXPECT_EQ(destroyed, 400);
}

TEST_F(ThreadTest, CallsThatHaveBegunAreNotLeftWithoutTheObject)
{
    for (int round = 0; round < 6; ++round) {
        const bool stops = round % 2 == 1, isDetached = round / 2 == 1, deletesItself = round / 2 < 2;
        std::atomic<bool> mayReturn{false};
        destroyed = 0;
        auto* body = new Work([&] { eventually([&] { return mayReturn.load(); }); });
        auto* thread = new Thread(AutoPtr<Runnable>(body), "", isDetached, deletesItself);
        thread->start();
        std::thread caller([=] { stops ? thread->stop() : thread->waitFor(); });
        EXPECT_TRUE(ThreadProbe::isEntered(*thread, !stops && !isDetached));
        const bool isOurs = !deletesItself && !thread->detach();
        EXPECT_TRUE(isOurs || deletesItself || stops) << "detached under a join";
        mayReturn = true;
        caller.join();
        if (isOurs)
            delete thread;
        EXPECT_TRUE(eventually([] { return destroyed == 1; }));
        expectJoinErrors(isOurs, "Thread not found");
        expectJoinErrors(deletesItself && !isDetached, "Join would cause deadlock"); // by the object's own destructor
    }
}

TEST_F(ThreadTest, JoinsAreHandedOnAndSetRightWhatTheThreadCouldNot)
{
    Work work, vanishing([] {
        pthread_setspecific(ThreadProbe::getRunKey(), nullptr); // as if there were none left
        callWithoutUnwindTables([] { pthread_exit(nullptr); });
    });
    for (Work* body : {&work, &vanishing}) {
        Thread thread(body, "", false);
        thread.start();
        std::thread waiter([&] { thread.waitFor(); });
        if (body == &work) {
            EXPECT_TRUE(ThreadProbe::isEntered(thread, true));
            thread.waitFor();
            expectJoinErrors(1, "Thread not joinable");
            pthread_cancel(waiter.native_handle());
        }
        waiter.join();
        EXPECT_EQ(thread.isRunning(), body == &work);
    }
    expectJoinErrors(1, "Thread not found");
}

TEST_F(ThreadTest, DestructorsAreNoWayOutForACancelledThread)
{
    const auto makeDirty = [](FILE* file) {
        fputc('a', file); // a close writes
        return file;
    };
    Work work;
    auto* thread = new Thread(&work, "", false);
    thread->start();
    auto* out = new BufferedOutputStream(SharedPtr<OutputStream>(new FileOutputStream(tmpfile(), true)), 8);
    out->write(reinterpret_cast<const unsigned char*>("a"), 1);
    const std::function<void()> CASES[] = {
        [=] { AutoPtr<Thread>(thread)->stop(); },
        [=] { delete out; },
        [in = new FdInputStream(dup(0), true)] { delete in; },
        [in = new FileInputStream(makeDirty(tmpfile()), true)] { delete in; },
        [file = new FileOutputStream(makeDirty(tmpfile()), true)] { delete file; },
        [pair = new SocketPair] { delete pair; },
        [fifo = new FifoBuffer(nullptr, 0, [](unsigned char*) { close(-1); })] { delete fifo; },
    };
    for (const auto& destroy : CASES) {
        bool isDone = false;
        std::thread([&] {
            pthread_cancel(pthread_self());
            destroy();
            isDone = true;
        }).join();
        EXPECT_TRUE(isDone) << &destroy - CASES;
    }
    expectJoinErrors(1, "Thread not found");
}
