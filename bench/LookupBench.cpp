// Lookup by key in any letter case: the library's table beside a sorted std::vector searched with strcasecmp.
#include <algorithm>
#include <cctype>
#include <random>
#include <string>
#include <strings.h>
#include <vector>

#include "bench/Benchmarks.h"
#include "ostrel/DynamicLookupTable.h"

namespace {

using Table = Ostrel::DynamicLookupTable<int, const char*>;

/// Names as they stand in documents and settings: a few words, some of them with a number. With a prefix all of them
/// begin alike, so that the first bytes decide nothing.
std::vector<std::string> makeKeys(size_t count, const char* prefix)
{
    static const char* const WORDS[] = {"device", "name", "network", "address", "port",  "user", "time", "state",
                                        "volume", "item", "color",   "Mode",    "Level", "url",  "id",   "size"};
    std::vector<std::string> keys;
    for (size_t i = 0; i < count; ++i) {
        std::string key = std::string(prefix) + WORDS[i % 16];
        if (i >= 16)
            key += std::string("_") + WORDS[i / 16 % 16];
        if (i >= 256)
            key += std::to_string(i / 256);
        keys.push_back(key);
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
    return keys;
}

/// Every key in another order and with the case of some letters changed.
std::vector<std::string> makeQueries(std::vector<std::string> keys)
{
    std::mt19937 random(2);
    std::shuffle(keys.begin(), keys.end(), random);
    for (std::string& key : keys)
        for (char& c : key)
            c = static_cast<char>(random() % 4 == 0 ? toupper(static_cast<unsigned char>(c)) : c);
    return keys;
}

void lookupInTable(benchmark::State& state, size_t count, const char* prefix)
{
    const std::vector<std::string> keys = makeKeys(count, prefix);
    const std::vector<std::string> queries = makeQueries(keys);
    Table table;
    for (const std::string& key : keys)
        table.set(key.c_str(), 1);
    for (auto _ : state) {
        for (const std::string& query : queries)
            benchmark::DoNotOptimize(table.get(query.c_str()));
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * count));
}

void lookupInSortedVector(benchmark::State& state, size_t count, const char* prefix)
{
    const std::vector<std::string> keys = makeKeys(count, prefix);
    const std::vector<std::string> queries = makeQueries(keys);
    using Entry = Table::Entry;
    const auto less = [](const Entry& entry, const char* key) { return strcasecmp(entry.key, key) < 0; };
    std::vector<Entry> entries;
    for (const std::string& key : keys)
        entries.insert(std::lower_bound(entries.begin(), entries.end(), key.c_str(), less), Entry{key.c_str(), 1});
    for (auto _ : state) {
        for (const std::string& query : queries) {
            const auto found = std::lower_bound(entries.begin(), entries.end(), query.c_str(), less);
            const bool isHit = found != entries.end() && strcasecmp(found->key, query.c_str()) == 0;
            benchmark::DoNotOptimize(isHit ? found->value : 0);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * count));
}

} // namespace

void registerLookupBenchmarks()
{
    for (size_t count : {8, 64, 1000}) {
        for (const char* prefix : {"", "network."}) {
            const std::string input = std::to_string(count) + (*prefix == '\0' ? " keys" : " prefixed");
            addBenchmark("lookup by key", input, "ostrel", lookupInTable, count, prefix);
            addBenchmark("lookup by key", input, "sorted vector", lookupInSortedVector, count, prefix);
        }
    }
}
