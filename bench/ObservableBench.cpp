// Notifying, adding and removing observers: ours beside boost.signals2, sigc++ and, as the limit, a plain std::vector
// of function pointers. None of them locks here: one thread, no mutex.
#include <algorithm>
#include <vector>

#ifdef HAVE_BOOST_SIGNALS2
#include <boost/signals2.hpp>
#endif
#ifdef HAVE_SIGCPP
#include <sigc++/sigc++.h>
#endif

#include "bench/Benchmarks.h"
#include "ostrel/Observable/Observable.h"

namespace {

constexpr int EVENT = 7;
constexpr size_t MAX_OBSERVERS = 64;

/// What every receiver does: too little to hide the cost of reaching it.
struct Receiver
{
    void receive(int event) { sum += event; }

    int sum = 0;
};

class CountingObserver : public Ostrel::Observer
{
public:
    void notify(Ostrel::Observable*, const int& event, const void*) override { _receiver.receive(event); }

private:
    Receiver _receiver;
};

struct Subject
{
    Subject()
        : observable(nullptr, Ostrel::AutoPtr<Ostrel::ObservableImplementation>(
                                  new Ostrel::PiloObservableImpl(buffer, sizeof(buffer))))
    {}

    CountingObserver observers[MAX_OBSERVERS];
    char buffer[512];
    Ostrel::Observable observable;
};

void notifyOstrel(benchmark::State& state, int count)
{
    Subject subject;
    for (int i = 0; i < count; ++i)
        subject.observable.addObserver(EVENT, &subject.observers[i]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(subject.observable.notifyObservers(EVENT));
        benchmark::ClobberMemory();
    }
}

void changeOstrel(benchmark::State& state, int count)
{
    Subject subject;
    for (int i = 0; i < count; ++i)
        subject.observable.addObserver(EVENT, &subject.observers[i]);
    CountingObserver added;
    for (auto _ : state) {
        benchmark::DoNotOptimize(subject.observable.addObserver(EVENT, &added));
        benchmark::DoNotOptimize(subject.observable.removeObserver(EVENT, &added));
    }
}

using Function = void (*)(void* receiver, int event);

struct Slot
{
    Function function;
    void* receiver;
};

[[gnu::noinline]] void callReceiver(void* receiver, int event)
{
    static_cast<Receiver*>(receiver)->receive(event);
}

void notifyVector(benchmark::State& state, int count)
{
    Receiver receivers[MAX_OBSERVERS];
    std::vector<Slot> slots;
    for (int i = 0; i < count; ++i)
        slots.push_back({callReceiver, &receivers[i]});
    benchmark::DoNotOptimize(slots.data());
    for (auto _ : state) {
        for (const Slot& slot : slots)
            slot.function(slot.receiver, EVENT);
        benchmark::ClobberMemory();
    }
}

void changeVector(benchmark::State& state, int count)
{
    Receiver receivers[MAX_OBSERVERS];
    Receiver added;
    std::vector<Slot> slots;
    for (int i = 0; i < count; ++i)
        slots.push_back({callReceiver, &receivers[i]});
    const auto isAdded = [&added](const Slot& slot) { return slot.receiver == &added; };
    for (auto _ : state) {
        slots.push_back({callReceiver, &added});
        benchmark::DoNotOptimize(slots.data());
        slots.erase(std::find_if(slots.begin(), slots.end(), isAdded));
    }
}

#ifdef HAVE_SIGCPP

void notifySigc(benchmark::State& state, int count)
{
    Receiver receivers[MAX_OBSERVERS];
    sigc::signal<void, int> signal;
    for (int i = 0; i < count; ++i)
        signal.connect(sigc::mem_fun(receivers[i], &Receiver::receive));
    for (auto _ : state) {
        signal.emit(EVENT);
        benchmark::ClobberMemory();
    }
}

void changeSigc(benchmark::State& state, int count)
{
    Receiver receivers[MAX_OBSERVERS];
    Receiver added;
    sigc::signal<void, int> signal;
    for (int i = 0; i < count; ++i)
        signal.connect(sigc::mem_fun(receivers[i], &Receiver::receive));
    for (auto _ : state) {
        sigc::connection connection = signal.connect(sigc::mem_fun(added, &Receiver::receive));
        connection.disconnect();
    }
}

#endif

#ifdef HAVE_BOOST_SIGNALS2

using BoostSignal =
    boost::signals2::signal_type<void(int), boost::signals2::keywords::mutex_type<boost::signals2::dummy_mutex>>::type;

void notifyBoost(benchmark::State& state, int count)
{
    Receiver receivers[MAX_OBSERVERS];
    BoostSignal signal;
    for (int i = 0; i < count; ++i)
        signal.connect([&receiver = receivers[i]](int event) { receiver.receive(event); });
    for (auto _ : state) {
        signal(EVENT);
        benchmark::ClobberMemory();
    }
}

void changeBoost(benchmark::State& state, int count)
{
    Receiver receivers[MAX_OBSERVERS];
    Receiver added;
    BoostSignal signal;
    for (int i = 0; i < count; ++i)
        signal.connect([&receiver = receivers[i]](int event) { receiver.receive(event); });
    for (auto _ : state) {
        boost::signals2::connection connection = signal.connect([&added](int event) { added.receive(event); });
        connection.disconnect();
    }
}

#endif

using Work = void (*)(benchmark::State& state, int count);

void addRows(const char* library, Work notify, Work change)
{
    addBenchmark("notify observers", "1 observer", library, notify, 1);
    addBenchmark("notify observers", "8 observers", library, notify, 8);
    addBenchmark("notify observers", "64 observers", library, notify, 64);
    addBenchmark("add and remove observer", "beside 0", library, change, 0);
    addBenchmark("add and remove observer", "beside 8", library, change, 8);
}

} // namespace

void registerObservableBenchmarks()
{
    addRows("ostrel", notifyOstrel, changeOstrel);
    addRows("function pointers", notifyVector, changeVector);
#ifdef HAVE_SIGCPP
    addRows("sigc++", notifySigc, changeSigc);
#endif
#ifdef HAVE_BOOST_SIGNALS2
    addRows("boost.signals2", notifyBoost, changeBoost);
#endif
}
