#include "ostrel/Observable/CObservable.h"

#include <gtest/gtest.h>

#include <functional>
#include <future>
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

// Outside the contract, but easily done: such a pass must not call what is no observer of its event.
TEST(ObservableTest, RegistrationsChangedDuringAPassNeverLeadItAstray)
{
    // Who leaves which event and joins which, and the calls.
    const std::tuple<Scene::LoggingObserver Scene::*, int, int, const char*> CASES[] = {
        {&Scene::a, 70000, 0, "a70000 "},
        {&Scene::c, 1, 0, "a70000 b70000 "},
        {&Scene::c, 1, 9, "a70000 b70000 "}, // the place is taken again, behind
        {&Scene::c, 0, 70000, "a70000 b70000 c70000 "},
    };
    for (const auto& row : CASES) {
        Scene scene;
        Scene::LoggingObserver& observer = scene.*std::get<0>(row);
        scene.a.reaction = [&] {
            scene.subject.removeObserver(std::get<1>(row), &observer);
            if (std::get<2>(row) != 0)
                scene.subject.addObserver(std::get<2>(row), &observer);
        };
        EXPECT_EQ(scene.subject.notifyObservers(70000), OBSERVABLE_OK);
        EXPECT_EQ(scene.log, std::get<3>(row));
    }
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
