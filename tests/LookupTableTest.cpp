#include "ostrel/DynamicLookupTable.h"
#include "tests/support/ReportTest.h"

using Ostrel::DynamicLookupTable;

using LookupTableTest = ReportTest;

TEST_F(LookupTableTest, RandomChangesAgreeWithAMap)
{
    std::mt19937 random(2);
    const auto less = [](const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) < 0; };
    std::map<std::string, int, decltype(less)> expected(less);
    DynamicLookupTable<int, const char*> table;
    EXPECT_FALSE(table.has(nullptr)); // compared with nothing yet
    for (int step = 1; step < 4000; ++step) {
        const std::string key{"abABI_x5\xC4\xE4"[random() % 10], "kK"[random() % 2],
                              static_cast<char>('0' + random() % 10)};
        const auto known = expected.lower_bound(key);
        ASSERT_EQ(table.findNearestIndex(key.c_str()), std::distance(expected.begin(), known));
        const int before = expected.count(key) == 0 ? 0 : known->second;
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
        unsigned int index = 0;
        for (const auto& pair : expected) {
            ASSERT_STREQ(table.getEntry(index)->key, pair.first.c_str());
            ASSERT_EQ(table.getEntry(index++)->value, pair.second);
        }
        ASSERT_EQ(table.getEntry(index), nullptr);
    }
}

TEST_F(LookupTableTest, OtherKindsOfKeyAreOrderedByTheirOwnLess)
{
    DynamicLookupTable<Ostrel::AutoPtr<int>, std::string, std::greater<std::string>> table;
    for (const char* key : {"b", "c", "B", "a"})
        table.set(key, Ostrel::AutoPtr<int>(new int(*key)));
    EXPECT_EQ(table.getEntry(0)->key + table.getEntry(3)->key, "cB");
    EXPECT_EQ(*table.remove("a"), 'a');
    EXPECT_FALSE(table.has("a"));
}

TEST_F(LookupTableTest, InsertionBeyondTheEndIsReportedAndRefused)
{
    struct : DynamicLookupTable<int, const char*>
    {
        int insertBehind() { return insertAt(getSize() + 1, "key", 1); }
    } table;
    EXPECT_EQ(table.insertBehind(), -1);
    expectFailedCheck(Ostrel::Severity::FATAL, "DynamicLookupTable", 87, "index <= _entries.getSize()");
}
