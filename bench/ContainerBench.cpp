// Long lists, maps and JSON arrays: beside the standard containers, and beside the same number of elements in pieces of
// 1000. Where the second ratio is far above 1, time grows faster than the number of elements.
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench/Benchmarks.h"
#include "json/JsonDeserializer.h"
#include "ostrel/ArrayList.h"
#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/DataObject.h"
#include "ostrel/DataObjectHandler.h"
#include "ostrel/DynamicLookupTable.h"

using Ostrel::AutoPtr;
using Ostrel::DataObject;

namespace {

const unsigned int PIECE = 1000;

std::vector<std::string> makeSortedKeys(unsigned int count)
{
    std::vector<std::string> keys;
    for (unsigned int i = 0; i < count; ++i) {
        char key[16];
        snprintf(key, sizeof(key), "key%07u", i);
        keys.push_back(key);
    }
    return keys;
}

class Append
{
public:
    explicit Append(unsigned int count) : _count(count) {}

    void operator()() const
    {
        Ostrel::DynamicArrayList<int*, 8> list;
        for (unsigned int i = 0; i < _count; ++i)
            list.append(nullptr);
        benchmark::DoNotOptimize(list.begin());
    }

private:
    unsigned int _count;
};

class SetSortedKeys
{
public:
    explicit SetSortedKeys(unsigned int count) : _keys(makeSortedKeys(count)) {}

    void operator()() const
    {
        Ostrel::DynamicLookupTable<int, const char*> table;
        for (const std::string& key : _keys)
            table.set(key.c_str(), 1);
        benchmark::DoNotOptimize(table.begin());
    }

private:
    std::vector<std::string> _keys;
};

class CloneList
{
public:
    explicit CloneList(unsigned int count)
    {
        for (unsigned int i = 0; i < count; ++i)
            _list.append(DataObject::createInt(static_cast<int>(i)));
    }

    void operator()() const { benchmark::DoNotOptimize(_list.clone().get()); }

private:
    Ostrel::DataObjectList _list;
};

class ParseArray
{
public:
    explicit ParseArray(unsigned int count) : _text("[1")
    {
        for (unsigned int i = 1; i < count; ++i)
            _text += ",1";
        _text += "]";
    }

    void operator()() const
    {
        Ostrel::ByteArrayInputStream stream(reinterpret_cast<const unsigned char*>(_text.data()),
                                            static_cast<unsigned int>(_text.size()));
        Ostrel::DataObjectHandler handler;
        json::JsonDeserializer deserializer;
        if (deserializer.parse(stream, handler) != 0)
            abort();
        benchmark::DoNotOptimize(handler.getRoot().get());
    }

private:
    std::string _text;
};

void appendToVector(benchmark::State& state, unsigned int count)
{
    for (auto _ : state) {
        std::vector<int*> list;
        for (unsigned int i = 0; i < count; ++i)
            list.push_back(nullptr);
        benchmark::DoNotOptimize(list.data());
    }
}

void setSortedKeysInMap(benchmark::State& state, unsigned int count)
{
    const std::vector<std::string> keys = makeSortedKeys(count);
    for (auto _ : state) {
        std::map<std::string, int> table;
        for (const std::string& key : keys)
            table.emplace_hint(table.end(), key, 1);
        benchmark::DoNotOptimize(&table);
    }
}

template <class Work>
void repeat(benchmark::State& state, unsigned int count, unsigned int piece)
{
    const Work work(piece);
    for (auto _ : state) {
        for (unsigned int done = 0; done < count; done += piece)
            work();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

template <class Work>
void addRows(const char* work, unsigned int count)
{
    const std::string input = std::to_string(count);
    addBenchmark(work, input, "ostrel", repeat<Work>, count, count);
    if (count > PIECE)
        addBenchmark(work, input, "1000 at a time", repeat<Work>, count, PIECE);
}

} // namespace

void registerContainerBenchmarks()
{
    for (const unsigned int count : {PIECE, 100000U, 1000000U}) {
        addRows<Append>("append", count);
        addBenchmark("append", std::to_string(count), "std::vector", appendToVector, count);
    }
    for (const unsigned int count : {PIECE, 100000U}) {
        addRows<SetSortedKeys>("set sorted keys", count);
        addBenchmark("set sorted keys", std::to_string(count), "std::map", setSortedKeysInMap, count);
        addRows<CloneList>("clone a list", count);
        addRows<ParseArray>("JSON array to tree", count);
    }
}
