#include <functional>
#include <sys/prctl.h>
#include <thread>

#include "ostrel/Threadable.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/Eventually.h"
#include "tests/support/RecordingPolicy.h"

using Ostrel::AutoPtr;
using Ostrel::Severity;

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
    Work cancellable([] {
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
        for (;; std::this_thread::yield())
            pthread_testcancel();
    });
    for (Work* work : {&cooperative, &slow, &cancellable}) {
        for (bool detached : {false, true}) {
            Thread thread(work, nullptr, detached);
            thread.stop();
            EXPECT_EQ(thread.detach(), detached) << "before the start";
            thread.start();
            thread.start();
            EXPECT_TRUE(thread.isRunning());
            thread.stop();
            EXPECT_FALSE(thread.isRunning());
            EXPECT_EQ(work->returns.exchange(0), work == &cancellable ? 0 : 1);
            EXPECT_TRUE(work->asked.exchange(false));
        }
    }
    expectJoinErrors(3, "Thread not found"); // by the destructors of the joined ones
}

TEST_F(ThreadTest, NamesAndMisuse)
{
    struct Named : Threadable
    {
        Named() : Threadable("twenty-character-nam", false, true) {}
        void run() override
        {
            waitFor();
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
    struct Unstoppable : Runnable
    {
        void run() override {}
    };
    Unstoppable().cancelRun();
    expectFailedCheck(Severity::FATAL, "Runnable", 30, "assert_not_reached");
}

TEST_F(ThreadTest, JoinedIdMayBelongToAnotherThread)
{
    Work first([] {}), second;
    {
        Thread other(&second, "other", false);
        {
            Thread stale(&first, "stale", false);
            stale.start();
            stale.waitFor();
            other.start(); // has the id of the stale one now, and does not end by itself
        }
        expectJoinErrors(1, "Thread not found");
        EXPECT_TRUE(other.isRunning());
    }
    EXPECT_EQ(second.returns, 1);
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
        if (thread->detach()) // which may come too late
            work.release(), thread.release();
    }
    EXPECT_TRUE(eventually([&] { return AllocationFaults::getLiveBlocks() == before; }));
    EXPECT_EQ(destroyed, 400);
}
