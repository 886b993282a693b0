#include <map>
#include <random>

#include "ostrel/DynamicLookupTable.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/RecordingPolicy.h"

using Ostrel::BinaryLookupTable;
using Ostrel::DynamicLookupTable;
using Ostrel::Severity;

using TextTable = DynamicLookupTable<int, const char*>;

namespace {

struct CaseInsensitiveLess
{
    bool operator()(const std::string& a, const std::string& b) const { return strcasecmp(a.c_str(), b.c_str()) < 0; }
};

/// The search spelled out with `Less` alone, one decision at a time.
unsigned int findNearestIndexSlowly(const TextTable::Entry* entries, unsigned int count, const char* key)
{
    const Ostrel::LessOperator<const char*> less;
    const auto equals = [&](unsigned int i) { return !less(entries[i].key, key) && !less(key, entries[i].key); };
    if (count == 0)
        return 0;
    if (less(entries[count - 1].key, key))
        return count;
    if (less(key, entries[0].key))
        return 0;
    unsigned int low = 0;
    unsigned int high = count - 1;
    while (low < high) {
        if (equals(low))
            return low;
        if (!less(key, entries[high].key))
            return equals(high) || (high - low == 1 && !less(key, entries[low].key)) ? high : low;
        if (high - low == 1)
            return less(key, entries[low].key) ? low : high;
        if (!less(entries[low].key, key))
            return low;
        const unsigned int middle = low + (high - low) / 2;
        (less(entries[middle].key, key) ? low : high) = middle;
    }
    return low;
}

class LookupTableTest : public ReportTest
{};

/// Opens the step that callers reach only with a place that was searched for.
class OpenTable : public TextTable
{
public:
    using TextTable::insertAt;
};

} // namespace

TEST_F(LookupTableTest, SearchAgreesWithTheSpelledOutOneEvenOnRepeatedKeys)
{
    std::mt19937 random(1);
    for (unsigned int count = 0; count < 40; ++count) {
        for (int round = 0; round < 40; ++round) {
            std::vector<std::string> keys(count);
            for (std::string& key : keys)
                key = std::string(1, "aAbBcCdDeEfF\xC4\xE4"[random() % 14]) + static_cast<char>('a' + random() % 6);
            std::sort(keys.begin(), keys.end(), CaseInsensitiveLess());
            std::vector<TextTable::Entry> entries;
            for (const std::string& key : keys)
                entries.push_back({key.c_str(), 0});
            const BinaryLookupTable<int, const char*> table(entries.data(), count);
            for (const char* key : {"", "a", "aA", "BC", "cd", "Df", "eE", "fA", "ff", "fg",
                                    "\xC4"
                                    "b"})
                ASSERT_EQ(table.findNearestIndex(key), findNearestIndexSlowly(entries.data(), count, key)) << key;
        }
    }
}

TEST_F(LookupTableTest, RandomChangesAgreeWithAMap)
{
    std::mt19937 random(2);
    std::map<std::string, int, CaseInsensitiveLess> expected;
    TextTable table;
    for (int step = 1; step < 4000; ++step) {
        const std::string key{"abABxyXY"[random() % 8], "kK"[random() % 2], static_cast<char>('0' + random() % 10)};
        const auto known = expected.find(key);
        const int before = known == expected.end() ? 0 : known->second;
        ASSERT_EQ(table.has(key.c_str()), before != 0);
        ASSERT_EQ(table.get(key.c_str()), before);
        if (random() % 2 == 0) {
            ASSERT_EQ(table.remove(key.c_str()), before);
            expected.erase(key);
        } else {
            int previous = -1;
            ASSERT_EQ(table.set(key.c_str(), step, &previous), 0);
            ASSERT_EQ(previous, before);
            expected[key] = step; // keeps the spelling that is there
        }
        ASSERT_EQ(table.getSize(), expected.size());
        const TextTable::Entry* entry = table.begin();
        for (const auto& pair : expected) {
            ASSERT_STREQ(entry->key, pair.first.c_str());
            ASSERT_EQ(entry->value, pair.second);
            ++entry;
        }
    }
    EXPECT_EQ(table.getEntry(table.getSize()), nullptr);
}

TEST_F(LookupTableTest, KeysAreCopiesOfTheTablesOwn)
{
    char key[] = "color";
    TextTable table;
    EXPECT_EQ(table.set(key, 1), 0);
    key[0] = 'x';
    EXPECT_EQ(table.set("Color", 2), 0);
    ASSERT_NE(table.find("COLOR"), nullptr);
    EXPECT_STREQ(table.find("COLOR")->key, "color");
    EXPECT_EQ(table.remove(table.getEntry(0)->key), 2);
    EXPECT_TRUE(table.isEmpty());
}

TEST_F(LookupTableTest, OtherKeysAreOrderedByTheirOwnLess)
{
    struct Greater
    {
        bool operator()(int a, int b) const { return a > b; }
    };
    DynamicLookupTable<Ostrel::AutoPtr<int>, int, Greater> table;
    for (int key : {3, 9, 1, 9})
        table.set(key, Ostrel::AutoPtr<int>(new int(key)));
    std::vector<int> keys;
    for (const auto& entry : table)
        keys.push_back(entry.key);
    EXPECT_EQ(keys, (std::vector<int>{9, 3, 1}));
    EXPECT_EQ(*table.remove(3), 3);
}

TEST_F(LookupTableTest, KeysInOrderCostOneComparisonEach)
{
    static unsigned int calls;
    struct CountingLess
    {
        bool operator()(int a, int b) const
        {
            ++calls;
            return a < b;
        }
    };
    DynamicLookupTable<int, int, CountingLess> table;
    calls = 0;
    for (int key = 0; key < 100; ++key)
        table.set(key, key);
    EXPECT_LE(calls, 200u); // each comparison is two calls of a plain `Less`
}

TEST_F(LookupTableTest, RefusedInsertionLeavesTheTable)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        TextTable table;
        for (const char* key : {"a", "b", "c", "d", "f", "g", "h", "i"})
            table.set(key, 1);
        int previous = -1;
        faults.arm();
        const int code = table.set("e", 2, &previous);
        faults.disarm();
        EXPECT_EQ(previous, 0);
        EXPECT_EQ(table.getSize(), code == 0 ? 9u : 8u);
        EXPECT_EQ(table.get("e"), code == 0 ? 2 : 0);
        EXPECT_EQ(table.get("i"), 1);
        EXPECT_TRUE(code == 0 || code == -1);
        return code == 0;
    });
}

TEST_F(LookupTableTest, InsertionBeyondTheEndIsReportedAndRefused)
{
    OpenTable table;
    EXPECT_EQ(table.insertAt(1, "key", 1), -1);
    expectFailedCheck(Severity::FATAL, "DynamicLookupTable", 87, "index <= _entries.getSize()");
    EXPECT_TRUE(table.isEmpty());
}
