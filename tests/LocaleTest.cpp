#include <clocale>

#include "json/JsonGen.h"
#include "ostrel/DataObject.h"
#include "ostrel/StringUtils.h"
#include "tests/support/JsonEventLog.h"
#include "tests/support/TestIncludes.h"

using namespace Ostrel;

namespace {

/// What the locale of the calling thread may change, and what it must not.
std::string describe()
{
    json::JsonGen gen;
    gen.array(nullptr).add(1.5, 2).add(1234567).end().nullTerminate();
    DataObjectMap map;
    for (const char* key : {"Iz", "iz", "AB", "ab", "b"})
        map.set(key, "null");
    std::string keys;
    for (AutoPtr<DataObject::DataObjectIterator> entry = map.iterator(); entry->hasCurrent(); entry->next())
        keys += std::string(" ") + entry->key();
    const std::string events = observe([](json::JsonParser& parser) { return parser.parse("[2.5,2e1,1234567]"); });
    const bool isFolded = stringCompareInsensitive("Iz", "iz") == 0;
    return std::string(gen.getData()) + " " + events + keys + (isFolded ? " folded" : "");
}

} // namespace

/// Decimal commas and a dotless i: other than what the headers name, nothing follows the locale.
TEST(LocaleTest, OnlyDecimalPointsAndKeysFollowIt)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers' own strcasecmp knows no locale";
#endif
    const char* const CASES[][2] = {
        {"C", "[1.50,1234567] [ d2.5 d20 i1234567 ] AB b Iz folded"},
        {"de_DE.UTF-8", "[1,50,1234567] [ d2 d20 i1234567 ] AB b Iz folded"},
        {"tr_TR.UTF-8", "[1,50,1234567] [ d2 d20 i1234567 ] Iz AB b iz folded"},
    };
    for (const auto& [name, description] : CASES) {
        const locale_t locale = newlocale(LC_ALL_MASK, name, nullptr);
        if (locale == nullptr)
            GTEST_SKIP() << "this machine has no sources for " << name;
        const locale_t before = uselocale(locale);
        EXPECT_EQ(describe(), description) << name;
        uselocale(before);
        freelocale(locale);
    }
}
