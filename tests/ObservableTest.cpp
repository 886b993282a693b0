#include "ostrel/Observable/CObservable.h"

#include "tests/support/AllocationFaults.h"

using namespace Ostrel;

extern "C" int callObservableInterface(pthread_mutex_t* mutex); // ObservableCalls.c
extern "C" int callWithUserData();

namespace {

/// What is registered, as plain lists, and the passes under way. Observers compare each call with these, then change
/// the registrations at random.
struct Turmoil
{
    struct Actor : public Observer
    {
        explicit Actor(Turmoil& stage) : turmoil(stage) {}

        void notify(Observable*, const int& event, const void*) override
        {
            Turmoil& stage = turmoil; // this object may go
            auto& [expected, calls] = stage.passes.back();
            const std::vector<Observer*>& list = stage.lists[expected];
            ASSERT_TRUE(event == expected && calls < list.size() && list[calls] == this);
            ++calls;
            for (unsigned int count = stage.random() % 6; count > 0; --count)
                stage.change();
        }

        Turmoil& turmoil;
        int source = 0; ///< The event of a pass that it began.
    };

    bool remove(int event, Observer* observer)
    {
        if (subject.removeObserver(event, observer) != OBSERVABLE_OK)
            return false;
        std::vector<Observer*>& list = lists[event];
        list.erase(std::find(list.begin(), list.end(), observer));
        return true;
    }

    void change()
    {
        // With one observer, an entry of the second is as long as one of the first with two.
        const int event = random() % 2 == 0 ? 3 : 70000;
        AutoPtr<Actor>& actor = actors[random() % 3];
        const unsigned int choice = random() % 400;
        if (choice < 1 || actor == nullptr) {
            while (remove(3, actor.get()) || remove(70000, actor.get()))
                continue;
            actor.reset(new Actor(*this));
        } else if (choice < 20) {
            while (!lists[event].empty())
                remove(event, lists[event].front());
        } else if (choice < 80 && passes.size() < 3) {
            actor->source = event;
            passes.push_back({event, 0});
            EXPECT_EQ(subject.notifyObservers(actor->source), OBSERVABLE_OK); // it may go, or change, during the pass
            EXPECT_GE(passes.back().second, lists[event].size()) << "it ended early";
            passes.pop_back();
        } else if (choice < 220) {
            remove(event, actor.get());
        } else if (subject.addObserver(event, actor.get()) == OBSERVABLE_OK) {
            lists[event].push_back(actor.get());
        }
    }

    std::mt19937 random;
    std::unique_ptr<char[]> buffer{new char[28]}; // soon full, so that places are taken again
    Observable subject{nullptr, AutoPtr<ObservableImplementation>(new PiloObservableImpl(buffer.get(), 28))};
    AutoPtr<Actor> actors[3];
    std::map<int, std::vector<Observer*>> lists;
    std::vector<std::pair<int, size_t>> passes;
};

} // namespace

TEST(ObservableTest, CallsUnderTheLockUntilAnObserverThrows)
{
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static int calls;
    char buffer[16];
    ObservablePtr subject = createObservable(buffer, sizeof(buffer), &mutex);
    ObserverPtr observer = createObserver([](ObservablePtr, Event_Type, const void*) {
        EXPECT_EQ(pthread_mutex_trylock(&mutex), EBUSY);
        throw ++calls;
    });
    EXPECT_EQ(addObserver(subject, 1, observer) + addObserver(subject, 1, observer), OBSERVABLE_OK);
    EXPECT_THROW(notifyObservers(subject, 1), int);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), 0);
    pthread_mutex_unlock(&mutex);
    EXPECT_EQ(removeObserver(subject, 1, observer) + removeObserver(subject, 1, observer), OBSERVABLE_OK);
    EXPECT_EQ(notifyObservers(subject, 1), OBSERVABLE_OK); // whose entry still lies behind the used bytes
    EXPECT_EQ(calls, 1);
    destroyObserver(observer);
    destroyObservable(subject);
    CMutex(nullptr).lock();
    CMutex(nullptr).unlock();
}

// What a pass may call is what stands at its place in the list of its event, whatever callbacks do to the registry.
TEST(ObservableTest, CallbacksThatAddRemoveEmptyDestroyAndNotifyLeadNoPassAstray)
{
    Turmoil turmoil;
    for (int step = 0; step < 20000; ++step)
        turmoil.change();
}

TEST(ObservableThreadTest, ThreadsAddRemoveAndNotifyUnderOneMutex)
{
    char buffer[64];
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static int calls;
    ObservablePtr subject = createObservable(buffer, sizeof(buffer), &mutex);
    const auto work = [subject] {
        for (int round = 0; round < 300; ++round) {
            // New observers each time, so that words are given out while other threads read theirs.
            ObserverPtr observer = createObserver([](ObservablePtr, Event_Type, const void*) { ++calls; });
            ASSERT_EQ(addObserver(subject, 1, observer), OBSERVABLE_OK);
            ASSERT_EQ(notifyObservers(subject, 1), OBSERVABLE_OK);
            ASSERT_EQ(removeObserver(subject, 1, observer), OBSERVABLE_OK);
            destroyObserver(observer);
        }
    };
    const auto others = {std::async(std::launch::async, work), std::async(std::launch::async, work)};
    work();
    for (const std::future<void>& other : others)
        other.wait();
    EXPECT_GE(calls, 900);
    EXPECT_EQ(buffer[0] + buffer[1], 4) << "nothing is left in the registry";
    destroyObservable(subject);
}

TEST(ObservableFaultTest, ExhaustedMemoryGivesNoHandleAndLeavesNothing)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        char buffer[12];
        pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
        const auto create = [&] { return createObservable(buffer, sizeof(buffer), &mutex); };
        ObservablePtr subject = faults.during(create);
        ObserverPtr observer = faults.during([] { return createObserver(nullptr); });
        ObserverPtr other = faults.during([] { return createObserverWithUserData(nullptr, nullptr); });
        const bool isDone = subject != nullptr && observer != nullptr && other != nullptr;
        EXPECT_TRUE(!isDone || addObserver(subject, 1, observer) == OBSERVABLE_OK);
        destroyObservable(subject);
        destroyObserver(observer);
        destroyObserver(other);
        destroyObservable(faults.again(create));
        return isDone;
    });
}

TEST(ObservableCInterfaceTest, EveryFunctionFromC)
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    EXPECT_EQ(callObservableInterface(nullptr), 0) << "the line of ObservableCalls.c that failed";
    EXPECT_EQ(callObservableInterface(&mutex), 0);
    EXPECT_EQ(callWithUserData(), 0);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), 0);
}

TEST(ObservableCInterfaceDeathTest, NullHandlesAndTooSmallABufferStopWithTheText)
{
    const auto subject = reinterpret_cast<ObservablePtr>(1); // handles that are only compared
    const auto observer = reinterpret_cast<ObserverPtr>(1);
    // A dot stands for each character that has a meaning in a pattern. Compilers differ in the blank before an
    // asterisk.
    static const char BOTH[] = ".Ostrel::CObservable..observable && ..Ostrel::CObserver..observer.";
    static const char ONE[] = ".Ostrel::CObservable..observable";
    const std::tuple<std::function<void()>, const char*, const char*> CASES[] = {
        {[&] { addObserver(subject, 1, nullptr); }, "addObserver.ObservablePtr, Event_Type, ObserverPtr.", BOTH},
        {[&] { removeObserver(nullptr, 1, observer); }, "removeObserver.ObservablePtr, Event_Type, ObserverPtr.", BOTH},
        {[] { notifyObserversWithParams(nullptr, 1, nullptr); },
         "notifyObserversWithParams.ObservablePtr, Event_Type, const void ?..", ONE},
    };
    for (const auto& [call, declaration, check] : CASES)
        EXPECT_DEATH(call(), std::string("ostrel/Observable/observable_c.cpp:[0-9]+: Observable_ReturnCode ") +
                                 declaration + ": Assertion `" + check + "' failed");
    EXPECT_DEATH(createObservable(nullptr, 11, nullptr),
                 "ostrel/Observable/StaticModel.cpp:.*Assertion `size >= MINIMUM_BUFFER_SIZE' failed");
}
