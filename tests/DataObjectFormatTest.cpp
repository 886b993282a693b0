#include "ostrel/DataObject.h"
#include "tests/support/LogBuilder.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

static const char* const NO_TEXT = nullptr;

class DataObjectFormatTest : public ReportTest
{
protected:
    /// The tree, and behind it a line for each report. The format ends where its block ends, so that reading on shows.
    template <class... Arguments>
    std::string parse(const char* format, Arguments... arguments)
    {
        const std::vector<char> exact(format, format + strlen(format) + 1);
        // The last argument is read by no format; with it, compilers do not mind one that is no literal.
        errno = ERANGE; // an old error changes nothing
        std::string result = describe(DataObject::parse(exact.data(), arguments..., 0).get());
        for (const Report& report : takeReports()) {
            const bool isOwn = report.source == "DataObject";
            EXPECT_EQ(report.severity, isOwn ? Severity::RECOVERABLE : Severity::FATAL);
            // The page of reports has them too.
            static const char LINES[] = " 236 Not supporte 239 Unexpected f 264 Invalid stri 281 Invalid inte "
                                        "293 Unexpected c 301 Nested too d 332 Invalid map  345 unable to pa "
                                        "349 duplicate ke";
            const std::string place = " " + std::to_string(report.line) + " " + report.text.substr(1, 12);
            EXPECT_TRUE(!isOwn || strstr(LINES, place.c_str()) != nullptr) << place;
            result += "\n" + (isOwn ? "" : report.source + " ") + report.text;
        }
        return result;
    }
};

TEST_F(DataObjectFormatTest, FormatsBecomeTreesAndReports)
{
    static const char* const CASES[][2] = {
        {" \v null x", "null "},
        {"[1 2,'a':null 3]", "[i1 i2 s(a) ] "},
        {"[1,,2]", "[i1 ] "},
        {"[[1,] [ ] [2", "[[i1 ] [] [i2 ] ] "},
        {"[0x1F,017,08,12345678901234567]", "[i31 i15 i0 i8 i12345678901234567 ] "},
        {"[99999999999999999999,-1]", "[i9223372036854775807 ] "},
        {"[[{'a':1}, 2], 3]", "[[{a:i1 } ] ] "},
        {"{'a':{'b':{}}, 'c':2}", "{a:{b:{} } } "},
        {"{'a':[1],'b':2 'c':3,}", "{a:[i1 ] b:i2 c:i3 } "},
        {"[{'a':'b'}", "[{a:s(b) } ] "},
        {"{0x10:2,4294967298:3", "{16:i2 2:i3 } "},
        {"['it''s','a' , 'b','','c':", "[s(it''s) s(a' , 'b) s() s(c) ] "},
        {"%ll [1]", "[i1 ] "},
        {"[nul", "[] \n'Unexpected characters ()'"},
        {"nux[1]", "[i1 ] \n'Unexpected characters (x[1])'"}, // what a faulty scalar leaves over may be a collection
        {"", "nothing"},
        {"%", "nothing\n'Unexpected format char ("},
        {"%x[1]", "nothing\n'Unexpected format char (x)'"},
        {"'", "nothing\n'Invalid string format ()'"},
        {"'[2]", "[i2 ] \n'Invalid string format ([2])'"},
        {"{1 1}", "nothing\n'Invalid map input @ 1}\n'"},
        {"{'a' 1}", "nothing\n'Invalid string format (a' 1})'\n'unable to parse key'\n'Invalid map input @ a' 1}\n'"},
        {"{ }", "nothing\n'unable to parse key'\n'Invalid map input @ }\n'"},
        {"{2147483648:1}", "nothing\n'unable to parse key'\n'Invalid map input @ :1}\n'"},
        {"{'a': 1, 'A': 2}", "nothing\n'duplicate key: 'A''\n'Invalid map input @ : 2}\n'"},
        {"[1,{2:{3:-4}},5]", "[i1 ] \n'Invalid map input @ -4}},5]\n'\n'Invalid map input @ -4}},5]\n'"}};
    for (const auto& c : CASES)
        EXPECT_EQ(parse(c[0]), c[1]) << c[0];
}

TEST_F(DataObjectFormatTest, DirectivesTakeTheirArgumentsInOrderAtEveryDepth)
{
    EXPECT_EQ(parse("[%d, [%s, %ld, [%lld]], %d, %s]", -1, "two", -3L, 1LL << 40, 5, "six"),
              "[i-1 [s(two) i-3 [i1099511627776 ] ] i5 s(six) ] ");
    EXPECT_EQ(parse("[%s,{%d:[%s,%lld,[%d]],%s:%ld", NO_TEXT, 2, "x", -3LL, 4, NO_TEXT, 5L),
              "[s() {:i5 2:[s(x) i-3 [i4 ] ] } ] ");
    // A pointer is not taken. The shift shows only where reading goes on.
    EXPECT_EQ(parse("%p[%d, %d]", 3, 4), "[i3 i4 ] \n'Not supported'");
    EXPECT_EQ(parse("%p %d", 3), "nothing\n'Not supported'");
}

TEST_F(DataObjectFormatTest, CollectionsNestAThousandLevelsDeep)
{
    EXPECT_EQ(parse(std::string(1000, '[').c_str()).size(), 3000U) << "each gives three characters";
    EXPECT_EQ(parse((std::string(1001, '[') + "],2]").c_str()).substr(3000), "\n'Nested too deep ([],2])'");
    std::string maps;
    std::string expected = "nothing\n'Nested too deep ({1:)'";
    for (int i = 0; i < 1000; ++i) {
        maps += "{1:";
        expected += "\n'Invalid map input @ \n'";
    }
    EXPECT_TRUE(parse((maps + "{1:").c_str()) == expected);
}

TEST_F(DataObjectFormatTest, ContainersTakeFormats)
{
    DataObjectList list;
    DataObjectMap map;
    EXPECT_EQ(list.append("%d", 1), 0);
    EXPECT_EQ(static_cast<DataObject&>(list).append("[%s, %lld]", "a", 2LL), 0);
    EXPECT_EQ(list.set(0, "{%s: %d}", "k", 3), 0);
    EXPECT_EQ(map.set("x", "%s", "text"), 0);
    EXPECT_EQ(static_cast<DataObject&>(map).set("y", "[%d]", 5), 0);
    EXPECT_EQ(describe(&list) + describe(&map), "[{k:i3 } [s(a) i2 ] ] {x:s(text) y:[i5 ] } ");

    // What is no value is stored as a missing child.
    EXPECT_EQ(list.set(1, "-") + list.append(NO_TEXT) + map.set("x", "-"), 0);
    EXPECT_FALSE(list.get(1).isValid() || list.get(2).isValid() || map.get("x").isValid());
    EXPECT_TRUE(list.has(2) && map.has("x"));
}

TEST_F(DataObjectFormatTest, ATextTooLongToCopyIsNoKey)
{
    const std::string text(262144, 'k');
    static const char RESULT[] = "nothing\nDynamicString 'Requested string is far too large:  262145\n'\n"
                                 "DynamicString test 'RC_OK == growAndAssign(orig)' failed\n"
                                 "'unable to parse key'\n'Invalid map input @ : 1}\n'";
    EXPECT_EQ(parse("{%s: 1}", text.c_str()), RESULT);
    EXPECT_EQ(parse(("{'" + text + "': 1}").c_str()), RESULT);
}

TEST_F(DataObjectFormatTest, TextsHaveAnyLengthAndRefusedMemoryLeaksNone)
{
    for (const size_t length : {63, 64, 5000}) {
        const std::string key(length, 'k');
        const std::string format = "{'a': [1, 'x', null, %s], %d: 'y" + key + "', '" + key + "': {'b': 1}}";
        const std::string whole = "{2:s(y" + key + ") a:[i1 s(x) null s(z) ] " + key + ":{b:i1 } } ";
        sweepAllocationFailures([&](AllocationFaults& faults) {
            const auto parseIt = [&] { return DataObject::parse(format.c_str(), "z", 2); };
            const AutoPtr<DataObject> tree = faults.during(parseIt);
            const bool isDone = takeReports().empty() && describe(tree.get()) == whole;
            EXPECT_EQ(describe(faults.again(parseIt).get()), whole);
            return isDone;
        });
    }
}
