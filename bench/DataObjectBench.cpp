// A tree out of a format beside the same tree built by calls, and the sort of a list beside its own clones alone.
#include <algorithm>
#include <numeric>
#include <random>

#include "bench/Benchmarks.h"
#include "ostrel/DataObject.h"
#include "ostrel/DataObjectListSorter.h"

using Ostrel::AutoPtr;
using Ostrel::DataObject;
using Ostrel::DataObjectList;
using Ostrel::DataObjectMap;

namespace {

const char* const HOST = "gateway.local";
const int PORT = 8080;

void buildByFormat(benchmark::State& state)
{
    for (auto _ : state) {
        const AutoPtr<DataObject> tree =
            DataObject::parse("{'host': %s, 'port': %d, 'name': 'kitchen', 'retries': 3, 'note': null, "
                              "'limits': [1, 20, 300], 'user': 'admin', 'serial': %lld",
                              HOST, PORT, 5000000000LL);
        benchmark::DoNotOptimize(tree.get());
    }
}

void buildByCalls(benchmark::State& state)
{
    for (auto _ : state) {
        AutoPtr<DataObject> limits(new (std::nothrow) DataObjectList);
        for (int limit : {1, 20, 300})
            limits->append(DataObject::createInt(limit));
        const AutoPtr<DataObject> tree(new (std::nothrow) DataObjectMap);
        tree->set("host", DataObject::createString(HOST));
        tree->set("port", DataObject::createInt(PORT));
        tree->set("name", DataObject::createString("kitchen"));
        tree->set("retries", DataObject::createInt(3));
        tree->set("note", AutoPtr<DataObject>(new (std::nothrow) Ostrel::NullDataObject));
        tree->set("limits", std::move(limits));
        tree->set("user", DataObject::createString("admin"));
        tree->set("serial", DataObject::createInt(5000000000LL));
        benchmark::DoNotOptimize(tree.get());
    }
}

long long comparisons = 0;
long long clones = 0;

class CountingNode : public Ostrel::IntegerDataObject
{
public:
    using IntegerDataObject::IntegerDataObject;
    AutoPtr<DataObject> clone() const override
    {
        ++clones;
        return AutoPtr<DataObject>(new CountingNode(toInt64(0)));
    }
};

bool isLess(Ostrel::WeakPtr<DataObject> a, Ostrel::WeakPtr<DataObject> b)
{
    ++comparisons;
    return a->toInt64(0) < b->toInt64(0);
}

std::vector<int> makeNumbers(bool isSorted)
{
    std::vector<int> numbers(1000);
    std::iota(numbers.begin(), numbers.end(), 0);
    if (!isSorted)
        std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    return numbers;
}

/// Only reported: the method is fixed. The counters say where the time goes.
void sortList(benchmark::State& state, bool isSorted)
{
    const std::vector<int> numbers = makeNumbers(isSorted);
    const DataObjectListSorter sort(isLess);
    comparisons = 0;
    clones = 0;
    for (auto _ : state) {
        state.PauseTiming();
        DataObjectList list;
        for (int number : numbers)
            list.append(AutoPtr<DataObject>(new CountingNode(number)));
        state.ResumeTiming();
        sort(list);
    }
    state.counters["comparisons"] =
        benchmark::Counter(static_cast<double>(comparisons), benchmark::Counter::kAvgIterations);
    state.counters["clones"] = benchmark::Counter(static_cast<double>(clones), benchmark::Counter::kAvgIterations);
}

void sortVector(benchmark::State& state, bool isSorted)
{
    const std::vector<int> numbers = makeNumbers(isSorted);
    for (auto _ : state) {
        std::vector<int> copy = numbers;
        std::sort(copy.begin(), copy.end());
        benchmark::DoNotOptimize(copy.data());
    }
}

} // namespace

void registerDataObjectBenchmarks()
{
    addBenchmark("format string to tree", "10 values", "ostrel", buildByFormat);
    addBenchmark("format string to tree", "10 values", "calls", buildByCalls);
    for (const bool isSorted : {false, true}) {
        const char* const input = isSorted ? "1000 in order" : "1000 shuffled";
        addBenchmark("sort of integers", input, "ostrel", sortList, isSorted);
        addBenchmark("sort of integers", input, "std::sort of int", sortVector, isSorted);
    }
}
