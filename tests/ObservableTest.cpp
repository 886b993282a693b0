#include "ostrel/Observable/CObservable.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <stdexcept>
#include <thread>

#include "tests/support/AllocationFaults.h"

using namespace Ostrel;

extern "C" int callObservableInterface(void); // ObservableCalls.c

namespace {

/// Writes its calls down, then does what it is told to.
class LoggingObserver : public Observer
{
public:
    LoggingObserver(std::string& log, char name) : _log(log), _name(name) {}

    void notify(Observable* source, const int& event, const void* params) override
    {
        lastSource = source;
        lastParams = params;
        _log += _name + std::to_string(event) + " ";
        if (reaction)
            reaction();
    }

    std::function<void()> reaction;
    Observable* lastSource = nullptr;
    const void* lastParams = nullptr;

private:
    std::string& _log;
    char _name;
};

class ObservableTest : public ::testing::Test
{
protected:
    std::string notify(int event)
    {
        log.clear();
        EXPECT_EQ(subject.notifyObservers(event), OBSERVABLE_OK);
        return log;
    }

    bool isLockFree()
    {
        bool isFree = false;
        std::thread([&] {
            isFree = pthread_mutex_trylock(&mutex) == 0;
            if (isFree)
                pthread_mutex_unlock(&mutex);
        }).join();
        return isFree;
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
std::string literally(const char* text)
{
    std::string pattern;
    for (; *text != '\0'; ++text)
        pattern += strchr("()*&", *text) != nullptr ? std::string("\\") + *text : std::string(1, *text);
    return pattern;
}

} // namespace

TEST_F(ObservableTest, CallsEachRegistrationInOrderUnderTheLock)
{
    subject.addObserver(5, &b);
    subject.addObserver(-70000, &c);
    subject.addObserver(5, &a);
    subject.addObserver(5, &b);
    bool wasFree = true;
    a.reaction = [&] { wasFree = isLockFree(); };
    EXPECT_EQ(notify(5), "b5 a5 b5 ");
    EXPECT_FALSE(wasFree);
    EXPECT_TRUE(isLockFree());
    EXPECT_EQ(a.lastParams, nullptr);
    EXPECT_EQ(notify(6), "") << "nobody listens: no error";
    EXPECT_EQ(subject.notifyObservers(-70000, &buffer), OBSERVABLE_OK);
    EXPECT_EQ(c.lastParams, &buffer);
    EXPECT_EQ(c.lastSource, &subject);
}

TEST_F(ObservableTest, ThrowingObserverLeavesTheLockFree)
{
    subject.addObserver(1, &a);
    subject.addObserver(1, &b);
    a.reaction = [] { throw std::runtime_error("refused"); };
    EXPECT_THROW(subject.notifyObservers(1), std::runtime_error);
    EXPECT_EQ(log, "a1 ");
    EXPECT_TRUE(isLockFree());
}

TEST_F(ObservableTest, ObserversMayNotifyOtherEvents)
{
    subject.addObserver(1, &a);
    subject.addObserver(1, &b);
    subject.addObserver(2, &c);
    a.reaction = [&] { subject.notifyObservers(2); };
    EXPECT_EQ(notify(1), "a1 c2 b1 ");
}

// Outside the contract, but easily done: such a pass must not call what is no observer of its event.
TEST_F(ObservableTest, RegistrationsChangedDuringAPassNeverLeadItAstray)
{
    struct Case
    {
        const char* name;
        std::function<void()> reaction;
        const char* calls;
    };
    const Case cases[] = {
        {"removes itself", [&] { subject.removeObserver(2, &a); }, "a2 "},
        {"removes an earlier event", [&] { subject.removeObserver(1, &c); }, "a2 b2 "},
        {"moves an earlier event behind its own",
         [&] {
             subject.removeObserver(1, &c);
             subject.addObserver(9, &c);
         },
         "a2 b2 "},
        {"adds an event", [&] { subject.addObserver(9, &c); }, "a2 b2 "},
        {"adds to its own event", [&] { subject.addObserver(2, &c); }, "a2 b2 c2 "},
    };
    for (const Case& current : cases) {
        SCOPED_TRACE(current.name);
        for (const int event : {1, 2, 3, 9}) {
            for (Observer* observer : {&a, &b, &c}) {
                while (subject.removeObserver(event, observer) == OBSERVABLE_OK)
                    continue;
            }
        }
        subject.addObserver(1, &c);
        subject.addObserver(2, &a);
        subject.addObserver(2, &b);
        subject.addObserver(3, &c);
        subject.addObserver(3, &c);
        a.reaction = current.reaction;
        EXPECT_EQ(notify(2), current.calls);
    }
}

TEST(ObservableThreadTest, ThreadsAddRemoveAndNotifyUnderOneMutex)
{
    char buffer[64];
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static int calls;
    ObservablePtr subject = createObservable(buffer, sizeof(buffer), &mutex);
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([subject] {
            for (int round = 0; round < 300; ++round) {
                // New observers each time, so that words are given out while other threads read theirs.
                ObserverPtr observer = createObserver([](ObservablePtr, Event_Type, const void*) { ++calls; });
                ASSERT_EQ(addObserver(subject, 1, observer), OBSERVABLE_OK);
                ASSERT_EQ(notifyObservers(subject, 1), OBSERVABLE_OK);
                ASSERT_EQ(removeObserver(subject, 1, observer), OBSERVABLE_OK);
                destroyObserver(observer);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GE(calls, 900);
    EXPECT_EQ(buffer[0] + buffer[1], 4) << "nothing is left in the registry";
    destroyObservable(subject);
}

TEST(ObservableFaultTest, ExhaustedMemoryGivesNoHandleAndLeavesNothing)
{
    for (const bool hasMutex : {false, true}) {
        sweepAllocationFailures([hasMutex](AllocationFaults& faults) {
            char buffer[12];
            pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
            faults.arm();
            ObservablePtr subject = createObservable(buffer, sizeof(buffer), hasMutex ? &mutex : nullptr);
            ObserverPtr observer = createObserver(nullptr);
            faults.disarm();
            const bool isDone = subject != nullptr && observer != nullptr;
            destroyObservable(subject);
            destroyObserver(observer);
            return isDone;
        });
    }
}

TEST(ObservableCInterfaceTest, EveryFunctionFromC)
{
    EXPECT_EQ(callObservableInterface(), 0) << "the line of ObservableCalls.c that failed";
}

TEST(ObservableCInterfaceDeathTest, NullHandlesStopWithTheText)
{
    char buffer[12];
    ObservablePtr subject = createObservable(buffer, sizeof(buffer), nullptr);
    ObserverPtr observer = createObserver(nullptr);
    struct Case
    {
        std::function<void()> call;
        const char* function;
        const char* check;
    };
    const char* const both = "(Ostrel::CObservable*)observable && ((Ostrel::CObserver*)observer)";
    const char* const one = "(Ostrel::CObservable*)observable";
    const Case cases[] = {
        {[&] { addObserver(nullptr, 1, observer); },
         "Observable_ReturnCode addObserver(ObservablePtr, Event_Type, ObserverPtr)", both},
        {[&] { addObserver(subject, 1, nullptr); },
         "Observable_ReturnCode addObserver(ObservablePtr, Event_Type, ObserverPtr)", both},
        {[&] { removeObserver(subject, 1, nullptr); },
         "Observable_ReturnCode removeObserver(ObservablePtr, Event_Type, ObserverPtr)", both},
        {[&] { notifyObservers(nullptr, 1); }, "Observable_ReturnCode notifyObservers(ObservablePtr, Event_Type)", one},
        {[&] { notifyObserversWithParams(nullptr, 1, buffer); },
         "Observable_ReturnCode notifyObserversWithParams(ObservablePtr, Event_Type, const void*)", one},
        {[] { createObservable(nullptr, 11, nullptr); }, "", "size >= MINIMUM_BUFFER_SIZE"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.function);
        EXPECT_DEATH(c.call(), literally(c.function) + ".*Assertion `" + literally(c.check) + "' failed");
    }
    destroyObserver(observer);
    destroyObservable(subject);
}
