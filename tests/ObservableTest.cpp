#include "ostrel/Observable/CObservable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <future>
#include <map>
#include <random>
#include <stdexcept>
#include <tuple>

#include "tests/support/AllocationFaults.h"

using namespace Ostrel;

extern "C" int callObservableInterface(pthread_mutex_t* mutex); // ObservableCalls.c

namespace {

/// c listens to event 1, a and b to event 70000, c twice to event 3.
struct Scene
{
    /// Writes its calls down, then does what it is told to.
    struct LoggingObserver : public Observer
    {
        LoggingObserver(std::string& callLog, char ownName) : log(callLog), name(ownName) {}

        void notify(Observable*, const int& event, const void*) override
        {
            log += name + std::to_string(event) + " ";
            reaction();
        }

        std::string& log;
        char name;
        std::function<void()> reaction = [] {};
    };

    Scene()
    {
        for (const auto& [event, observer] : {std::pair(1, &c), {70000, &a}, {3, &c}, {70000, &b}, {3, &c}})
            subject.addObserver(event, observer);
    }

    bool isLockFree()
    {
        const auto tryLock = [&] { return pthread_mutex_trylock(&mutex) == 0 && pthread_mutex_unlock(&mutex) == 0; };
        return std::async(std::launch::async, tryLock).get();
    }

    char buffer[64];
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
    CMutex lock{&mutex};
    Observable subject{&lock, AutoPtr<ObservableImplementation>(new PiloObservableImpl(buffer, sizeof(buffer)))};
    std::string log;
    LoggingObserver a{log, 'a'};
    LoggingObserver b{log, 'b'};
    LoggingObserver c{log, 'c'};
};

/// What is registered, as plain lists, and the passes under way. Observers compare each call with these, then change
/// the registrations at random.
class Turmoil
{
public:
    Turmoil()
    {
        for (auto& actor : _actors)
            actor.reset(new Actor(*this));
    }

    void change()
    {
        // With one observer, an entry of the second is as long as one of the first with two.
        const int event = _random() % 2 == 0 ? 3 : 70000;
        AutoPtr<Actor>& actor = _actors[_random() % 3];
        const unsigned int choice = _random() % 400;
        if (choice < 1) {
            for (auto& [each, list] : _lists) {
                while (std::count(list.begin(), list.end(), actor.get()) != 0)
                    remove(each, actor.get());
            }
            actor.reset(new Actor(*this));
        } else if (choice < 20) {
            while (!_lists[event].empty())
                remove(event, _lists[event].front());
        } else if (choice < 80 && _passes.size() < 3) {
            notify(actor->source = event, event);
        } else if (choice < 220) {
            remove(event, actor.get());
        } else if (_subject.addObserver(event, actor.get()) == OBSERVABLE_OK) {
            _lists[event].push_back(actor.get());
        }
    }

private:
    struct Actor : public Observer
    {
        explicit Actor(Turmoil& turmoil) : owner(turmoil) {}
        void notify(Observable*, const int& event, const void*) override { owner.receive(this, event); }

        Turmoil& owner;
        int source = 0; ///< The event of a pass that it began.
    };

    void remove(int event, Observer* observer)
    {
        std::vector<Observer*>& list = _lists[event];
        const auto place = std::find(list.begin(), list.end(), observer);
        const bool isKnown = place != list.end();
        EXPECT_EQ(_subject.removeObserver(event, observer), isKnown ? 0 : list.empty() ? 3 : 1);
        if (isKnown)
            list.erase(place);
    }

    /// `source` may go, or become another event, during the pass.
    void notify(const int& source, int event)
    {
        _passes.push_back({event, 0});
        EXPECT_EQ(_subject.notifyObservers(source), OBSERVABLE_OK);
        EXPECT_GE(_passes.back().second, _lists[event].size()) << "it ended early";
        _passes.pop_back();
    }

    void receive(Observer* observer, int event)
    {
        auto& [expected, calls] = _passes.back();
        const std::vector<Observer*>& list = _lists[expected];
        ASSERT_TRUE(event == expected && calls < list.size() && list[calls] == observer);
        ++calls;
        for (unsigned int count = _random() % 6; count > 0; --count)
            change();
    }

    std::mt19937 _random;
    std::unique_ptr<char[]> _buffer{new char[28]}; // soon full, so that places are taken again
    Observable _subject{nullptr, AutoPtr<ObservableImplementation>(new PiloObservableImpl(_buffer.get(), 28))};
    AutoPtr<Actor> _actors[3];
    std::map<int, std::vector<Observer*>> _lists;
    std::vector<std::pair<int, size_t>> _passes;
};

} // namespace

TEST(ObservableTest, CallsEachRegistrationInOrderUnderTheLockUntilOneThrows)
{
    Scene scene;
    bool wasFree = true;
    scene.a.reaction = [&] { scene.subject.notifyObservers(3); };
    scene.c.reaction = [&] { wasFree = scene.isLockFree(); };
    scene.b.reaction = [] { throw std::runtime_error("refused"); };
    scene.subject.addObserver(70000, &scene.c);
    EXPECT_THROW(scene.subject.notifyObservers(70000), std::runtime_error);
    EXPECT_EQ(scene.log, "a70000 c3 c3 b70000 ");
    EXPECT_FALSE(wasFree);
    EXPECT_TRUE(scene.isLockFree());
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
        faults.arm();
        ObservablePtr subject = createObservable(buffer, sizeof(buffer), &mutex);
        ObserverPtr observer = createObserver(nullptr);
        faults.disarm();
        const bool isDone = subject != nullptr && observer != nullptr;
        EXPECT_TRUE(!isDone || addObserver(subject, 1, observer) == OBSERVABLE_OK);
        destroyObservable(subject);
        destroyObserver(observer);
        return isDone;
    });
}

TEST(ObservableCInterfaceTest, EveryFunctionFromC)
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    EXPECT_EQ(callObservableInterface(nullptr), 0) << "the line of ObservableCalls.c that failed";
    EXPECT_EQ(callObservableInterface(&mutex), 0);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), 0);
}

TEST(ObservableCInterfaceDeathTest, NullHandlesAndTooSmallABufferStopWithTheText)
{
    Scene scene;
    const auto subject = reinterpret_cast<ObservablePtr>(&scene.subject); // handles that are only compared
    const auto observer = reinterpret_cast<ObserverPtr>(&scene.a);
    // A dot stands for each character that has a meaning in a pattern.
    static const char BOTH[] = ".Ostrel::CObservable..observable && ..Ostrel::CObserver..observer.";
    static const char ONE[] = ".Ostrel::CObservable..observable";
    const std::tuple<std::function<void()>, const char*, const char*> CASES[] = {
        {[&] { addObserver(subject, 1, nullptr); }, "addObserver.ObservablePtr, Event_Type, ObserverPtr.", BOTH},
        {[&] { removeObserver(nullptr, 1, observer); }, "removeObserver.ObservablePtr, Event_Type, ObserverPtr.", BOTH},
        {[] { notifyObservers(nullptr, 1); }, "notifyObservers.ObservablePtr, Event_Type.", ONE},
        {[] { notifyObserversWithParams(nullptr, 1, nullptr); },
         "notifyObserversWithParams.ObservablePtr, Event_Type, const void..", ONE},
    };
    for (const auto& [call, declaration, check] : CASES)
        EXPECT_DEATH(call(), std::string("ostrel/Observable/observable_c.cpp:[0-9]+: Observable_ReturnCode ") +
                                 declaration + ": Assertion `" + check + "' failed");
    EXPECT_DEATH(createObservable(nullptr, 11, nullptr),
                 "ostrel/Observable/StaticModel.cpp:.*Assertion `size >= MINIMUM_BUFFER_SIZE' failed");
}
