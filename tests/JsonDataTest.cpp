#include "json/JsonData.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "ostrel/AutoPtr.h"

using json::JsonData;

namespace {

std::string getText(const JsonData& view)
{
    if (view.getData() == nullptr)
        return view.isValid() ? "broken" : "INVALID";
    return std::string(view.getData(), view.getLength());
}

/// Steps of a path are an index each or, in single quotes, a key: `'servers' 0 'port'`.
JsonData query(const JsonData& document, const std::string& path)
{
    JsonData view = document;
    for (size_t i = 0; i < path.size(); ++i) {
        if (path[i] == '\'') {
            const size_t close = path.find('\'', i + 1);
            view = view(path.substr(i + 1, close - i - 1).c_str());
            i = close;
        } else if (path[i] != ' ') {
            view = view[static_cast<unsigned int>(path[i] - '0')];
        }
    }
    return view;
}

const char DOCUMENT[] = " { \"a\" : {\"b\":1, \"x\":[9]},\n\"list\":[1, [2,3] , {\"k\":[]},\t\"t\"], \"empty\":[],"
                        "\"b\":  -5 , \"real\":2.5,\"s\":\"te\\nxt\", \"wide\":3000000000, \"hex\":0x1F }";

} // namespace

// Shallow as it is: a key inside another member's value is not meant, but a text may pass for a key, and what stands
// inside texts counts.
TEST(JsonDataTest, PathsLeadToTheTextOfAValue)
{
    const std::vector<std::string> CASES = {"[1, [2,3], 4]|0|1",
                                            "[1, [2,3], 4]|1| [2,3]",
                                            "[1, [2,3], 4]|2| 4",
                                            "[1, [2,3], 4]|3|INVALID",
                                            "[1, [2,3], 4]|1 1|3",
                                            "[1, [2,3], 4]|'k'|INVALID",
                                            "[]|0|",
                                            "[]|1|INVALID",
                                            "|0|INVALID",
                                            "1|0|INVALID",
                                            R"([[1],{"a":[2,3]},5]|2|5)",
                                            R"({"a":1,"b":{"c":2}}|'b' 'c'|2)",
                                            R"({"a":{"b":1},"b":2}|'b'|2)",
                                            R"({"a" : ["b",{"b":1}],"b":2}|'b'|2)",
                                            R"({"ab":1,"a":2,"":3}|'a'|2)",
                                            R"({"ab":1,"a":2,"":3}|''|3)",
                                            R"({"a":1}|0|INVALID)",
                                            R"({"x":"a","b":1}|'a'|1)",
                                            R"(["a,b",2]|1|b")",
                                            R"(["a[b",2]|1|2)",
                                            R"([["]"],2]|1|2)",
                                            R"([["["],2]|1|INVALID)",
                                            R"({"a":-5 , "b":1}|'a'|-5 )"};
    for (const std::string& c : CASES) {
        const std::string question = c.substr(0, c.rfind('|') + 1);
        const size_t split = question.find('|');
        const std::string document = question.substr(0, split);
        const JsonData view =
            query(JsonData(document.c_str()), question.substr(split + 1, question.size() - split - 2));
        EXPECT_EQ(question + getText(view), c);
    }
    EXPECT_EQ(getText(JsonData(nullptr)(nullptr)) + getText(JsonData("{}")(nullptr)), "INVALIDINVALID");
}

TEST(JsonDataTest, ValuesConvertUnlessAnOldErrorMakesAZeroAFailure)
{
    static const char* const CASES[][2] = {
        {"'a' 'b'", "1 1.000000 INVALID"},        {"'list' 3", "0 0.000000 t"},
        {"'real'", "2 2.500000 INVALID"},         {"'s'", "0 0.000000 te\\nxt"},
        {"'hex'", "31 31.000000 INVALID"},        {"'none'", "-2147483648 nan INVALID"},
        {"'empty' 0", "-2147483648 nan INVALID"}, {"'wide'", "2147483647 3000000000.000000 INVALID"}};
    const auto convert = [](const JsonData& view, int error) {
        errno = error;
        return std::to_string(view.toInt()) + " " + std::to_string(view.toFloat()) + " " + getText(view.toString());
    };
    for (const auto& c : CASES)
        EXPECT_EQ(convert(query(JsonData(DOCUMENT), c[0]), 0), c[1]) << c[0];
    EXPECT_EQ(errno, ERANGE) << "of the wide one, as where long has 32 bits";
    for (const int error : {ERANGE, EINVAL})
        EXPECT_EQ(convert(JsonData("0"), error) + convert(JsonData("7"), error),
                  "-2147483648 nan INVALID7 7.000000 INVALID");
    EXPECT_EQ(convert(JsonData("08 \"\" "), ENOENT) + convert(JsonData("-9 \"a"), 0),
              "0 8.000000 -9 -9.000000 INVALID");
}

TEST(JsonDataTest, EveryPrefixGivesAViewInsideItOrNone)
{
    for (unsigned int length = 0; length < sizeof(DOCUMENT); ++length) {
        const Ostrel::AutoPtr<char[]> exact(new char[length]);
        memcpy(exact.get(), DOCUMENT, length);
        for (const char* path : {"'a'", "'b'", "'list' 1", "'list' 2 'k'", "'s'", "'none'", "1"}) {
            const std::string text = getText(query(JsonData(exact.get(), length), path));
            EXPECT_TRUE(text == "INVALID" || text == getText(query(JsonData(DOCUMENT), path))) << length << path;
        }
    }
}

TEST(JsonDataTest, ValidationEmptiesTheViewOfWhatIsNoDocument)
{
    JsonData good("[1, {\"a\":null}]");
    EXPECT_TRUE(good.validate() == 0 && good.isValid());
    for (JsonData bad : {JsonData("{]"), JsonData("[1]2"), JsonData(" "), JsonData(), JsonData("[]", 0)})
        EXPECT_TRUE(bad.validate() == -1 && !bad.isValid());
}

TEST(JsonDataTest, PrintIndentsTwoSpacesALevel)
{
    testing::internal::CaptureStdout();
    JsonData("{\"a b\": [1, 2,[3]], \"c\":{} , \"d\":\"x\"}").print("-");
    JsonData("]1]").print(nullptr);   // a piece may close more than it opens
    JsonData("[]", 1).print(nullptr); // the byte behind the view counts
    JsonData().print("-");
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n-: {\n  \"ab\":\n-:   [\n    1\n    2\n-:     [\n      3\n    ]\n  ]\n  \"c\":\n-:   {\n  }\n"
              "  \"d\":\"x\"\n}\n\n]1\n]\n\n[\n\n");
}
