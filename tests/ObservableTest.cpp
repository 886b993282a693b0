#include "ostrel/Observable/CObservable.h"

#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>

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
        subject.addObserver(1, &c);
        subject.addObserver(70000, &a);
        subject.addObserver(3, &c);
        subject.addObserver(70000, &b);
        subject.addObserver(3, &c);
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

/// As a regular expression that matches just this.
std::string literally(const std::string& text)
{
    std::string pattern;
    for (const char c : text)
        pattern += isalnum(static_cast<unsigned char>(c)) ? std::string(1, c) : std::string("[") + c + "]";
    return pattern;
}

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
    struct Case
    {
        Scene::LoggingObserver Scene::*observer;
        int left;
        int joined; ///< afterwards, if not 0
        const char* calls;
    };
    const Case cases[] = {
        {&Scene::a, 70000, 0, "a70000 "},
        {&Scene::c, 1, 0, "a70000 b70000 "},
        {&Scene::c, 1, 9, "a70000 b70000 "}, // the place is taken again, behind
        {&Scene::c, 0, 70000, "a70000 b70000 c70000 "},
    };
    for (const Case& current : cases) {
        Scene scene;
        scene.a.reaction = [&] {
            scene.subject.removeObserver(current.left, &(scene.*current.observer));
            if (current.joined != 0)
                scene.subject.addObserver(current.joined, &(scene.*current.observer));
        };
        EXPECT_EQ(scene.subject.notifyObservers(70000), OBSERVABLE_OK);
        EXPECT_EQ(scene.log, current.calls);
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
    std::thread second(work);
    std::thread third(work);
    work();
    second.join();
    third.join();
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
    const auto expectStop = [](const std::function<void()>& call, const std::string& text) {
        EXPECT_DEATH(call(), "ostrel/Observable/observable_c.cpp:[0-9]+: " + literally(text) + " failed");
    };
    const std::string both = ": Assertion `(Ostrel::CObservable*)observable && ((Ostrel::CObserver*)observer)'";
    const std::string one = ": Assertion `(Ostrel::CObservable*)observable'";
    expectStop([&] { addObserver(subject, 1, nullptr); },
               "Observable_ReturnCode addObserver(ObservablePtr, Event_Type, ObserverPtr)" + both);
    expectStop([&] { removeObserver(nullptr, 1, observer); },
               "Observable_ReturnCode removeObserver(ObservablePtr, Event_Type, ObserverPtr)" + both);
    expectStop([] { notifyObservers(nullptr, 1); },
               "Observable_ReturnCode notifyObservers(ObservablePtr, Event_Type)" + one);
    expectStop([] { notifyObserversWithParams(nullptr, 1, nullptr); },
               "Observable_ReturnCode notifyObserversWithParams(ObservablePtr, Event_Type, const void*)" + one);
    EXPECT_DEATH(createObservable(nullptr, 11, nullptr),
                 "ostrel/Observable/StaticModel.cpp:.*Assertion `size >= MINIMUM_BUFFER_SIZE' failed");
}
