#include "json/JsonParser.h"

#include <cmath>
#include <sstream>

#include "json/internal/JsonBlock.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/JsonEventLog.h"
#include "tests/support/PieceStream.h"

// As they follow the events; the texts themselves begin behind the mark.
static const char* const INVALID = "!Invalid json data";
static const char* const NO_SOURCE = "!Invalid data source";
static const char* const TOO_DEEP = "!Max json data depth exceeded";
static const char* const EXCESS = "!Excess data after json";

/// From a heap block of exactly its size, so that the address sanitizer sees a step too far.
static std::string parseMemory(const std::string& document)
{
    const std::unique_ptr<char[]> block(new char[document.size()]);
    document.copy(block.get(), document.size());
    return observe([&](json::JsonParser& parser) {
        return parser.parse(block.get(), static_cast<unsigned int>(document.size()));
    });
}

/// From memory; through streams in pieces of all kinds the outcome must be the same.
static std::string parse(const std::string& document)
{
    const std::string expected = parseMemory(document);
    for (unsigned int piece : {1U, 2U, 3U, 7U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(testing::Message() << "in pieces of " << piece);
        PieceStream stream(document, {piece}, piece == 2 ? -1 : 0);
        EXPECT_EQ(observe([&](json::JsonParser& parser) { return parser.parse(&stream); }), expected);
        EXPECT_LE(stream.readsAtEnd, 1);
    }
    PieceStream stream(document, {1}, -1);
    EXPECT_EQ(observe([&](json::JsonParser& parser) { return parser.parseUnbuffered(&stream); }), expected);
    EXPECT_LE(stream.readsAtEnd, 1);
    EXPECT_EQ(stream.asked, std::vector<unsigned int>(stream.asked.size(), 1));
    return expected;
}

static std::string errorOf(const std::string& outcome)
{
    return outcome.substr(std::min(outcome.find('!'), outcome.size()));
}

static std::string readByLibrary(const std::string& number)
{
    return JsonEventLog::formatDouble(strtod(number.c_str(), nullptr));
}

/// The parts of a text that are separated by bars.
static std::vector<std::string> split(const std::string& text)
{
    std::vector<std::string> parts;
    std::stringstream stream(text);
    for (std::string part; std::getline(stream, part, '|');)
        parts.push_back(part);
    return parts;
}

static void expectError(const char* error, const std::string& documents)
{
    for (const std::string& document : split(documents))
        EXPECT_EQ(errorOf(parse(document)), error) << document;
}

static std::string repeat(const std::string& text, int count)
{
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

TEST(JsonParserTest, DocumentsGiveTheirEvents)
{
    static const std::pair<const char*, std::string> CASES[] = {
        {"  {\"a\":[1,2.5,\"x\",true,null]}  ", "{ a=[ i1 d2.5 sx true null ] }"},
        {"\t[ ]\r\n", "[ ]"},
        {"{ \"a\" : { } ,\n\n\"\" :false }", "{ a={ } =false }"},
        {"[[1],{\"k\":[{}]}]", "[ [ i1 ] { k=[ { } ] } ]"},
        {"{\"a\": 1,                                \"b\":\n                        2}", "{ a=i1 b=i2 }"},
        {"{\"a\":[1,}", std::string("{ a=[ i1") + INVALID}, // what was sent stays sent
    };
    for (const auto& [document, expected] : CASES)
        EXPECT_EQ(parse(document), expected);
    expectError(EXCESS, "{} x|truex|12abc|1-2|1.5.5|\"a\"\"b\"|1" + std::string(1, '\0'));
    expectError(INVALID,
                "| \n |[12abc]|[1,]|[,1]|[1 2]|{\"a\":1,}|{\"a\"}|{\"a\" 1}|{\"a\":}|{,}|{1:2}|[}|{]|]|trux|False|nul "
                "|falsy|\v1|'a'|[1,\v2]                    |[1,                    \f2]");
}

/// Vectors and the words of hosts without them, whichever of the two this host's parser uses.
template <class Block>
static void expectSearchesAsByteByByte()
{
    const std::string BYTES = " \n\t\r\"\\[]{};x!\x1F\x80\xA0\xBF\xC0\xDB\xFF", BRACKETS = "[]{}", BLANKS = " \n\t\r";
    const auto orNone = [](size_t position) { return std::min<size_t>(position, Block::SIZE); };
    std::mt19937 random(1);
    for (unsigned int round = 0; round < 60; ++round) {
        typename Block::Tally lines, continuations;
        long lineCount = 0, continuationCount = 0;
        for (unsigned int i = 0; i < Block::Tally::MOST_BLOCKS; ++i) {
            std::string text(Block::SIZE, round % 3 == 0 ? '\n' : round % 3 == 1 ? ' ' : '\xBF');
            for (char& byte : text)
                byte = random() % 8 < i % 5 ? BYTES[random() % BYTES.size()] : byte;
            const Block block(text.data());
            std::string offered, brackets;
            ASSERT_EQ(json::findQuoteOrBackslash(block), orNone(text.find_first_of("\"\\")));
            ASSERT_EQ(json::findNonBlank(block), orNone(text.find_first_not_of(BLANKS)));
            ASSERT_EQ(json::findBracket(block, [&](unsigned int at) { return (offered += text[at]).back() == ']'; }),
                      orNone(text.find(']')));
            for (const char byte : text.substr(0, text.find(']') + 1 == 0 ? text.npos : text.find(']') + 1))
                brackets += BRACKETS.find(byte) != BRACKETS.npos ? std::string(1, byte) : "";
            ASSERT_EQ(offered, brackets);
            const auto isControl = [](unsigned char byte) { return byte < ' '; };
            const size_t control =
                static_cast<size_t>(std::find_if(text.begin(), text.end(), isControl) - text.begin());
            ASSERT_EQ(block.find(block.below(' ')), control);
            ASSERT_EQ(block.hasAny(block.below(' ')), control < Block::SIZE);
            lines.addEqual(block, '\n');
            lineCount += std::count(text.begin(), text.end(), '\n');
            continuations.addContinuations(block);
            continuationCount +=
                std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) == 0x80; });
        }
        ASSERT_EQ(lines.getTotal(), lineCount);
        ASSERT_EQ(continuations.getTotal(), continuationCount);
    }
}

TEST(JsonParserTest, BlocksOfBothKindsAreSearchedAsByteByByte)
{
    expectSearchesAsByteByByte<Ostrel::ByteBlock>();
    expectSearchesAsByteByByte<Ostrel::WordBlock>();
}

TEST(JsonParserTest, NumbersFollowTheGrammarAndTheirLimits)
{
    // What stands around a number decides whether eight bytes can be looked at, and where it ends.
    const auto expect = [](const std::string& number, const std::string& event) {
        EXPECT_EQ(parse(number), event) << number;
        EXPECT_EQ(parse("[" + number + "   ,  123456789]"),
                  event == INVALID ? "[" + event : "[ " + event + " i123456789 ]");
    };
    for (const std::string& integer : split("0|7|-12|123456789|9223372036854775806|-9223372036854775807"))
        expect(integer, "i" + integer);
    expect("-0", "i0");
    expect("-007", "i-7");
    expect("00000000000000000000000000000001", "i1");
    for (const std::string& bad :
         split("9223372036854775807|9223372036854775808|18446744073709551616|18446744073709551617|-9223372036854775808|"
               "123456789012345678901|-|+1|.5|1.|1.e5|1e|1E+|1e-|1.0e|-.5|--1"))
        expect(bad, INVALID);
    for (const std::string& real :
         split("1.0|1e0|-0.0|-0e5|1E5|25e-1|1e+2|0.1|1e22|1e23|1e999|-1e999|1e-999|0e999999999999999999999|4.9e-324|"
               "1e99999999999999999999|1e-99999999999999999999|2.2250738585072011e-308|1.7976931348623159e308|"
               "9007199254740993.0|9007199254740993.00000000000000000001|12345678.12345678|1.23456789012345678"))
        expect(real, readByLibrary(real));
}

TEST(JsonParserTest, DoublesAreThoseOfTheCLibrary)
{
    const auto expectSame = [](const char* number) { EXPECT_EQ(parseMemory(number), readByLibrary(number)); };
    std::mt19937_64 random(20240229); // NOLINT(cert-msc51-cpp): the same numbers every time
    char number[80];
    for (int i = 0; i < 60000; ++i) {
        const uint64_t bits = random();
        double value = 0;
        memcpy(&value, &bits, sizeof(value));
        if (std::isfinite(value)) {
            snprintf(number, sizeof(number), "%.*e", static_cast<int>(random() % 20), value);
            expectSame(number);
        }
        // Digits and powers at and around what is done without the C library.
        const uint64_t digits = random() >> (random() % 64);
        snprintf(number, sizeof(number), "-%llue%d", static_cast<unsigned long long>(digits),
                 static_cast<int>(random() % 160) - 90);
        expectSame(number);
        snprintf(number, sizeof(number), "%llu.%0*llu", static_cast<unsigned long long>(random() % 1000000),
                 static_cast<int>(random() % 18) + 1, static_cast<unsigned long long>(random() % 1000));
        expectSame(number);
        // The middle between two doubles, and right beside it.
        const uint64_t middle = (uint64_t{1} << 51) + random() % (uint64_t{1} << 51);
        for (const char* fraction : {"0", "5", "25", "75", "125", "375", "499", "4999", "501"}) {
            snprintf(number, sizeof(number), "%llu.%s", static_cast<unsigned long long>(middle), fraction);
            expectSame(number);
        }
    }
}

TEST(JsonParserTest, EscapesAndBytesOfStrings)
{
    static const std::pair<const char*, const char*> CASES[] = {
        {"", ""},
        {R"(\b\f\n\r\t\"\\\/)", "\b\f\n\r\t\"\\/"},
        {R"(\q\U\')", "qU'"},
        {R"(\u0041\u00e9\u20AC\uffff)", "A\xC3\xA9\xE2\x82\xAC\xEF\xBF\xBF"},
        {R"(\ud83d\ude00\ud83dx)", "\xED\xA0\xBD\xED\xB8\x80\xED\xA0\xBDx"},
        {R"(a\u0000b)", "a"},
        {"a\nb\tc\x01", "a\nb\tc\x01"},
        {"\xFF\x80\xC3", "\xFF\x80\xC3"},
        {"fifteen bytes..", "fifteen bytes.."},
        {"sixteen bytes ..", "sixteen bytes .."},
        {"fifteen bytes..\\n and on", "fifteen bytes..\n and on"}};
    for (const auto& [input, expected] : CASES) {
        const std::string quoted = std::string("\"") + input + "\"";
        const std::string text = expected;
        EXPECT_EQ(parse(quoted), "s" + text) << quoted;
        EXPECT_EQ(parse("{" + quoted + ":" + quoted + ",\"z\":1}"), "{ " + text + "=s" + text + " z=i1 }");
    }
    for (const std::string& bad : split(R"("\u12"|"\u12g4"|"\u 1a2"|"\u+1a2"|"\u0x12"|"\u00!1"|"\")"))
        EXPECT_EQ(parse(bad) + parse("{" + bad + ":1}"), INVALID + std::string("{") + INVALID) << bad;
    EXPECT_EQ(parse(std::string("\"a\0b\"", 5)), "sa") << "a raw NUL is a byte like others";
}

TEST(JsonParserTest, DepthIsLimitedAndOutranksOtherErrors)
{
    const auto nest = [](const std::string& open, const std::string& close, int depth) {
        return repeat(open, depth) + repeat(close, depth);
    };
    EXPECT_EQ(parse(nest("[", "]", 15)), "[" + repeat(" [", 14) + repeat(" ]", 15));
    EXPECT_EQ(parse(nest("[", "]", 16)), "[" + repeat(" [", 14) + TOO_DEEP);
    expectError(TOO_DEEP,
                repeat("[{\"a\":", 8) + "x|" + repeat("[", 16) + "|" + repeat("{\"a\":", 15) + "{}" + repeat("}", 15));
    expectError(INVALID, repeat("[", 15) + "|" + nest("[{\"a\":", "}]", 7) + " x|" + repeat("{\"a\":", 14) + "{}" +
                             repeat("}", 13));
    EXPECT_EQ(errorOf(parse("[" + repeat("[],", 40) + "{}]")), "") << "closed collections do not count";
}

TEST(JsonParserTest, TokensOfAnyLengthCrossEveryWindow)
{
    for (int size : {470, 480, 490, 500, 511, 512, 513, 70000, 300000}) {
        SCOPED_TRACE(size);
        const std::string filler = repeat("0123456789abcdef", size / 16 + 1).substr(0, static_cast<size_t>(size));
        const std::string digits = repeat("1", size);
        EXPECT_EQ(parse("{\"" + filler + "\":\"\\t" + filler + "\",\"n\":" + digits + ".5}"),
                  "{ " + filler + "=s\t" + filler + " n=d" + (size > 309 ? "inf" : "") + " }");
        EXPECT_EQ(parse("[\"" + filler + "\",0." + digits + "," + repeat(" ", size) + "1]"),
                  "[ s" + filler + " d0.1111111111111111 i1 ]");
    }
}

TEST(JsonParserTest, StreamsAreAskedForTheRightAmountsAndNotBeyondTheEnd)
{
    for (const std::string& document :
         split("[1]x,y|1x,y|truex,y|trx,y|-x,y|1.x,y|1e+x,y|\"\\u12x,y|{x,y|{\"a\"x,y|[1 x,y")) {
        PieceStream stream(document);
        EXPECT_EQ(json::JsonParser().parseUnbuffered(&stream), -1);
        EXPECT_EQ(stream.getRest(), ",y") << document;
    }
    PieceStream whole(repeat(" ", 65536) + "[1,2]  ");
    EXPECT_EQ(json::JsonParser().parse(&whole), 0);
    EXPECT_EQ(whole.asked, std::vector<unsigned int>(3, 65536));

    PieceStream byBlock("[1]"), byByte("[1]");
    byBlock.claimed = byByte.claimed = 70000; // more than it was asked for
    EXPECT_EQ(observe([&](json::JsonParser& parser) { return parser.parse(&byBlock); }), "[ i1 ]");
    EXPECT_EQ(observe([&](json::JsonParser& parser) { return parser.parseUnbuffered(&byByte); }), "[ i1 ]");
}

TEST(JsonParserTest, DescriptorsAreReadThroughACopy)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "{\"a\":1}", 7), 7);
    const auto parseFd = [](int fd) { return observe([&](json::JsonParser& parser) { return parser.parse(fd, 0U); }); };
    EXPECT_EQ(parseFd(ends[0]), "{ a=i1 }");
    EXPECT_EQ(fcntl(ends[0], F_GETFL) & O_NONBLOCK, O_NONBLOCK) << "open, and non-blocking now";
    const int next = dup(ends[0]);
    EXPECT_EQ(next, ends[1] + 1) << "a descriptor leaked";
    close(next);
    ASSERT_EQ(write(ends[1], "null", 4), 4);
    struct : json::JsonParser::EventHandler
    {
        void onNull(json::JsonParser*, const char*) override { flags = fcntl(fd, F_GETFD); }
        int fd = 0;
        int flags = 0;
    } watch;
    watch.fd = next;
    json::JsonParser(&watch).parse(ends[0], 0U);
    EXPECT_EQ(watch.flags, FD_CLOEXEC) << "programs started meanwhile do not get the copy";
    // The write end cannot be opened for reading, which is found out with the copy already made.
    EXPECT_EQ(parseFd(ends[1]) + parseFd(-1), INVALID + std::string(INVALID));
    EXPECT_EQ(dup(ends[0]), next) << "a descriptor leaked";
    for (int fd : {ends[0], ends[1], next})
        close(fd);

    // With standard input closed the copy takes its place, and is closed as any other.
    const int input = dup(0), output = open("/dev/null", O_WRONLY);
    close(0);
    EXPECT_EQ(parseFd(output), INVALID);
    EXPECT_EQ(close(0), -1) << "a descriptor leaked";
    dup2(input, 0);
    close(input);
    close(output);
}

TEST(JsonParserTest, ShortTokensTakeNoHeap)
{
    const std::string document =
        "{\"" + repeat("k", 200) + "\":\"" + repeat("\\n", 200) + "\",\"b\":[1e300,-1.5,true]}";
    json::JsonParser parser;
    PieceStream stream(document, {0xFFFFFFFF});
    stream.asked.reserve(10);
    EXPECT_EQ(countAllocations([&] { EXPECT_EQ(parser.parse(document.c_str()), 0); }), 0U);
    EXPECT_EQ(countAllocations([&] { EXPECT_EQ(parser.parse(&stream), 0); }), 0U);
}

TEST(JsonParserTest, ExhaustedMemoryMakesTheDataInvalid)
{
    const std::string document =
        "{\"" + repeat("k", 3000) + "\":\"" + repeat("v", 9000) + "\",\"n\":1" + repeat("0", 40000) + "e-39999}";
    sweepAllocationFailures([&](AllocationFaults& faults) {
        json::JsonParser parser;
        const int result = faults.during([&] { return parser.parse(document.c_str()); });
        EXPECT_STREQ(parser.getErrorString(), result == 0 ? nullptr : INVALID + 1);
        EXPECT_EQ(parser.getError().reason, result == 0 ? json::JsonError::NONE : json::JsonError::OUT_OF_MEMORY);
        EXPECT_EQ(faults.again([&] { return parser.parse(document.c_str()); }), 0);
        return result == 0;
    });
}

/// The reason in words, the line and column, and the offset; through streams in pieces of all kinds the same.
static std::string findMistake(const std::string& document)
{
    const auto describe = [](const json::JsonParser& parser) {
        const json::JsonError error = parser.getError();
        return std::string(error.getText() == nullptr ? "none" : error.getText()) + " " + std::to_string(error.line) +
               ":" + std::to_string(error.column) + " " + std::to_string(error.offset);
    };
    json::JsonParser parser;
    parser.parse(document.data(), static_cast<unsigned int>(document.size()));
    const std::string expected = describe(parser);
    for (unsigned int piece : {1U, 2U, 3U, 7U, 0xFFFFFFFFU}) {
        PieceStream stream(document, {piece});
        parser.parse(&stream);
        EXPECT_EQ(describe(parser), expected) << "in pieces of " << piece;
    }
    PieceStream stream(document);
    parser.parseUnbuffered(&stream);
    EXPECT_EQ(describe(parser), expected) << "by single bytes";
    return expected;
}

TEST(JsonParserTest, MistakesHaveAReasonAndAPlace)
{
    static const std::pair<const char*, const char*> CASES[] = {
        {"[1,\"a\\q\x01\\ud83d\"]", "none 0:0 0"},
        {"", "there is no value 1:1 0"},
        {" \n\t", "there is no value 2:2 3"},
        {"[1 2]", "expected ',' or ']' after an element 1:4 3"},
        {"[1}", "expected ',' or ']' after an element 1:3 2"},
        {"{\"a\":1 \"b\":2}", "expected ',' or '}' after a member 1:8 7"},
        {"[1,\n]", "a comma stands before the closing bracket 2:1 4"},
        {"{\"a\":[],}", "a comma stands before the closing bracket 1:9 8"},
        {"[,1]", "expected a value 1:2 1"},
        {"[1,}", "expected a value 1:4 3"},
        {"{\"a\":]}", "expected a value 1:6 5"},
        {"]", "expected a value 1:1 0"},
        {"'a'", "expected a value 1:1 0"},
        {"\xEF\xBB\xBF[]", "expected a value 1:1 0"},
        {"{,}", "expected a key in quotes 1:2 1"},
        {"{\"a\":1,b:2}", "expected a key in quotes 1:8 7"},
        {"{\"\xC3\xA9\xF0\x9F\x98\x80\" 1}", "expected ':' after a key 1:7 10"},
        {"[trux]", "expected true, false or null 1:5 4"},
        {"[fals1       ]", "expected true, false or null 1:6 5"},
        {"nil      ", "expected true, false or null 1:2 1"},
        {"[\"\\u12g4\"]", "expected four hexadecimal digits after \\u 1:7 6"},
        {"\"\\u12\"", "expected four hexadecimal digits after \\u 1:6 5"},
        {"[-]", "expected a digit 1:3 2"},
        {"[-.5]", "expected a digit 1:3 2"},
        {"1.e5", "expected a digit 1:3 2"},
        {"[1e+ ]", "expected a digit 1:5 4"},
        {"[+1]", "expected a value 1:2 1"},
        {"[0x1]", "expected ',' or ']' after an element 1:3 2"},
        {"[1,\n -9223372036854775808 ]", "number out of range 2:2 5"},
        {"123456789012345678901", "number out of range 1:1 0"},
        {"[[[[[[[[[[[[[[[[1", "nested too deeply 1:16 15"},
        {"[1]\r\n\nx", "more data after the document 3:1 6"},
        {"1-2", "more data after the document 1:2 1"},
        {"[", "end inside an array 1:2 1"},
        {"[1,\n\n", "end inside an array 3:1 5"},
        {"[1", "end inside an array 1:3 2"},
        {"{\"a\"", "end inside an object 1:5 4"},
        {"{\"a\": ", "end inside an object 1:7 6"},
        {"{\"a\":1,", "end inside an object 1:8 7"},
        {"{\"a", "end inside a text 1:4 3"},
        {"[\"\n\xC3\xA9\\", "end inside a text 2:3 6"},
        {"\"\\u00", "end inside a text 1:6 5"},
        {"[tru", "end inside true, false or null 1:5 4"},
        {"[-1.5e", "end inside a number 1:7 6"},
    };
    for (const auto& [document, mistake] : CASES)
        EXPECT_EQ(findMistake(document), mistake) << document;

    // Behind windows with and without line breaks, and characters that cross them.
    for (const size_t size : {63U, 64U, 8191U, 65535U, 65536U, 70001U}) {
        const std::string filler(size, 'x'), place = " 1:" + std::to_string(2 * size + 5);
        const std::string wide = "[\"" + filler + repeat("\xC3\xA9", static_cast<int>(size)) + "\",]";
        EXPECT_EQ(findMistake(wide),
                  "a comma stands before the closing bracket" + place + " " + std::to_string(3 * size + 4));
        const std::string lines = repeat("1,\n", static_cast<int>(size));
        EXPECT_EQ(findMistake("[" + filler.substr(1) + lines), "expected a value 1:2 1");
        EXPECT_EQ(findMistake("[" + lines + " 1" + repeat("0", static_cast<int>(size))),
                  "number out of range " + std::to_string(size + 1) + ":2 " + std::to_string(3 * size + 2));
    }
}

TEST(JsonParserTest, ParsersAreReusedAndSourcesChecked)
{
    json::JsonParser parser;
    EXPECT_EQ(parser.parse("[1]", 2), -1) << "the length counts";
    PieceStream failing("[1", {2}, -1);
    EXPECT_EQ(parser.parse(&failing), -1);
    EXPECT_EQ(parser.getError().reason, json::JsonError::SOURCE_FAILED);
    EXPECT_EQ(parser.getError().offset, 2U);
    const auto expectNoSource = [&](int result) {
        EXPECT_EQ(result, -1);
        EXPECT_STREQ(parser.getErrorString(), NO_SOURCE + 1);
        EXPECT_TRUE(parser.getError().reason == json::JsonError::NO_SOURCE && parser.getError().line == 0);
        EXPECT_EQ(parser.parse("0"), 0);
        EXPECT_EQ(parser.getErrorString(), nullptr);
    };
    expectNoSource(parser.parse(static_cast<const char*>(nullptr), 0));
    expectNoSource(parser.parse(static_cast<const char*>(nullptr)));
    expectNoSource(parser.parse(static_cast<Ostrel::InputStream*>(nullptr)));
    expectNoSource(parser.parseUnbuffered(nullptr));
}
