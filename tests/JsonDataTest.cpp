#include "json/JsonData.h"

#include "tests/support/TestIncludes.h"

using json::JsonData;

static std::string getText(const JsonData& view)
{
    return view.getData() == nullptr ? "INVALID" : std::string(view.getData(), view.getLength());
}

/// What each path leads to. A step is an index or, in single quotes, a key: `'servers' 0 'port'`; paths end with ';'.
static std::string query(const JsonData& document, const std::string& paths)
{
    std::string texts;
    JsonData view = document;
    for (size_t i = 0; i < paths.size(); ++i) {
        if (paths[i] == ';') {
            texts += getText(view) + ";";
            view = document;
        } else if (paths[i] == '\'') {
            const size_t close = paths.find('\'', i + 1);
            view = view(paths.substr(i + 1, close - i - 1).c_str());
            i = close;
        } else if (paths[i] != ' ') {
            view = view[static_cast<unsigned int>(paths[i] - '0')];
        }
    }
    return texts;
}

static const char DOCUMENT[] =
    " { \"a\" : {\"b\":1, \"x\":[9]},\n\"list\":[1, [2,3] , {\"k\":[]},\t\"t\"], \"empty\":[],"
    "\"b\":  -5 , \"real\":2.5,\"s\":\"te\\nxt\", \"wide\":3000000000, \"hex\":0x1F }";

// Shallow as it is: a key inside another member's value is not meant, but a text may pass for a key, and what stands
// inside texts counts.
TEST(JsonDataTest, PathsLeadToTheTextOfAValue)
{
    static const char* const CASES[][3] = {
        {"[1, [2,3], 4]", "0;1;2;3;1 1;'k';", "1; [2,3]; 4;INVALID;3;INVALID;"},
        {"[]", "0;1;", ";INVALID;"},
        {"1", "0;'k';", "INVALID;INVALID;"},
        {"", "0;'k';", "INVALID;INVALID;"},
        {R"([[1],{"a":[2,3]},5])", "2;1 'a' 0;", "5;2;"},
        {R"({"a" : ["b",{"b":1}],"b":{"c":-5 }, "":2})", "'b' 'c';'';'ab';0;", "-5 ;2;INVALID;INVALID;"},
        {R"({"x":"a","b":1})", "'a';", "1;"},
        {R"({"x" {"b":1},"b":2})", "'b';", "2;"},
        {R"(["a,b","a[b",2])", "1;2;3;", "b\";\"a[b\";2;"},
        {R"([["]"],2,["["],3])", "1;3;", "2;INVALID;"}};
    for (const auto& c : CASES)
        EXPECT_EQ(query(JsonData(c[0]), c[1]), c[2]) << c[0] << " at " << c[1];
    EXPECT_EQ(getText(JsonData(nullptr)(nullptr)) + getText(JsonData("{}")(nullptr)), "INVALIDINVALID");
}

TEST(JsonDataTest, ValuesConvertUnlessAnOldErrorMakesAZeroAFailure)
{
    const auto convert = [](const char* text, int error) {
        const JsonData view(text);
        errno = error;
        const std::string number = std::to_string(view.toInt());
        return number + " " + std::to_string(view.toFloat()) + " " + getText(view.toString());
    };
    EXPECT_EQ(convert("0", ENOENT), "0 0.000000 INVALID");
    EXPECT_EQ(convert("0", EINVAL), "-2147483648 nan INVALID");
    EXPECT_EQ(convert("-7", ERANGE) + convert(" 2.5,\"\"", 0), "-7 -7.000000 INVALID2 2.500000 ");
    EXPECT_EQ(convert("08", 0) + convert("", 0), "0 8.000000 INVALID-2147483648 nan INVALID");
    EXPECT_EQ(getText(JsonData(R"(["Doe, Joe"])")[0].toString()), "Doe, Joe") << "beyond the view, as numbers are read";
    EXPECT_EQ(convert("\"a\\nb\"", 0) + convert("0x1F\"", 0), "0 0.000000 a\\nb31 31.000000 INVALID");
    EXPECT_EQ(convert("3000000000", 0), "2147483647 3000000000.000000 INVALID");
    EXPECT_EQ(errno, ERANGE) << "as where long has 32 bits";
    EXPECT_EQ(convert("0", errno), "-2147483648 nan INVALID");
}

TEST(JsonDataTest, EveryPrefixGivesTheWholeViewOrNone)
{
    static const char* const PATHS[] = {"'a' 'x' 0;", "'b';", "'list' 1;", "'list' 2 'k';", "'s';", "'none';"};
    for (unsigned int length = 0; length < sizeof(DOCUMENT); ++length) {
        const std::unique_ptr<char[]> exact(new char[length]);
        memcpy(exact.get(), DOCUMENT, length);
        for (const char* path : PATHS) {
            const std::string text = query(JsonData(exact.get(), length), path);
            EXPECT_TRUE(text == "INVALID;" || text == query(JsonData(DOCUMENT), path)) << length << path;
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
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n-: {\n  \"ab\":\n-:   [\n    1\n    2\n-:     [\n      3\n    ]\n  ]\n  \"c\":\n-:   {\n  }\n"
              "  \"d\":\"x\"\n}\n\n]1\n]\n\n[\n");
}
