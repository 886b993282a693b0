#include "json/JsonGen.h"

#include <cfenv>
#include <cmath>
#include <random>

#include "tests/support/AllocationFaults.h"

using json::JsonGen;

namespace {

std::string textOf(const JsonGen& gen)
{
    return std::string(gen.getLength() == 0 ? "" : gen.getData(), gen.getLength());
}

/// With as many digits as the logarithm counts.
std::string writeIntegerSlowly(long long value)
{
    std::string text = std::to_string(value);
    const size_t sign = value < 0 ? 1 : 0;
    const size_t digits = value == 0 ? 1 : static_cast<size_t>(std::log10(std::abs(static_cast<double>(value)))) + 1;
    return text.insert(sign, digits - (text.size() - sign), '0');
}

enum Kind { VALUE, MEMBER, FORMAT, START, END, TERMINATE, RESET };

/// One call, how it is made, and the pieces that it writes behind the comma. A key stands as it is written.
struct Call
{
    char letter;
    Kind kind;
    const char* key;
    std::vector<std::string> pieces;
    void (*make)(JsonGen& gen);
};

const char* const LONG_TEXT = "a text of more than thirty-two bytes, all of them plain";
const char* const NO_TEXT = nullptr;

const Call CALLS[] = {
    {'o', START, nullptr, {"{"}, [](JsonGen& gen) { gen.object(nullptr); }},
    {'O', START, "k", {"\":", "{"}, [](JsonGen& gen) { gen.object("k"); }},
    {'a', START, nullptr, {"["}, [](JsonGen& gen) { gen.array(nullptr); }},
    {'A', START, "k\\/", {"\":", "["}, [](JsonGen& gen) { gen.array("k/"); }},
    {'x', START, nullptr, {}, [](JsonGen& gen) { gen.startCollection(nullptr, JsonGen::INSIDE_OBJECT); }},
    {'e', END, nullptr, {}, [](JsonGen& gen) { gen.end(); }},
    {'n', VALUE, nullptr, {"null"}, [](JsonGen& gen) { gen.add(JsonGen::NullType()); }},
    {'N', MEMBER, "k", {"\":null"}, [](JsonGen& gen) { gen.add("k", JsonGen::NullType()); }},
    {'t', VALUE, nullptr, {"true"}, [](JsonGen& gen) { gen.add(true); }},
    {'T', MEMBER, "k", {"\":false"}, [](JsonGen& gen) { gen.add("k", false); }},
    {'j', VALUE, nullptr, {"-", "1234567890"}, [](JsonGen& gen) { gen.add(-1234567890); }},
    {'J', MEMBER, "\xC3\xA9", {"\":", "-", "7654321"}, [](JsonGen& gen) { gen.add("\xC3\xA9", -7654321); }},
    {'s', VALUE, nullptr, {"\"", "s", "\""}, [](JsonGen& gen) { gen.add("s"); }},
    {'S', MEMBER, "k", {"\":\"", "s", "\""}, [](JsonGen& gen) { gen.add("k", "s"); }},
    {'l', VALUE, nullptr, {"\"", LONG_TEXT, "\""}, [](JsonGen& gen) { gen.add(LONG_TEXT); }},
    {'L', MEMBER, "long key", {"\":\"", LONG_TEXT, "\""}, [](JsonGen& gen) { gen.add("long key", LONG_TEXT); }},
    {'q', VALUE, nullptr, {"\"", "abc\\/\\n  ", "\""}, [](JsonGen& gen) { gen.add("ab\1c\x7f/\n"); }},
    {'Q', MEMBER, "q\\\"", {"\":\"", "x\\/\\\"", "\""}, [](JsonGen& gen) { gen.add("q\"", "x/\""); }},
    {'0', MEMBER, "(null)", {"\":\"", "(null)", "\""}, [](JsonGen& gen) { gen.add(NO_TEXT, NO_TEXT); }},
    {'d', VALUE, nullptr, {"1.50"}, [](JsonGen& gen) { gen.add(1.5, 2); }},
    {'D', MEMBER, nullptr, {"\"a/b\":1.50"}, [](JsonGen& gen) { gen.add("a/b", 1.5, 2); }},
    {'f', FORMAT, nullptr, {"raw"}, [](JsonGen& gen) { gen.addWithFormat("raw"); }},
    {'z', TERMINATE, nullptr, {}, [](JsonGen& gen) { gen.nullTerminate(); }},
    {'r', RESET, nullptr, {}, [](JsonGen& gen) { gen.reset(); }},
};

/// The generator again, slow and piece by piece. Once frozen, its buffer grows no more but into its hidden room.
struct Model
{
    std::vector<JsonGen::Status> levels{JsonGen::INITIALIZED};
    std::string text;
    size_t capacity = 0;
    bool frozen = false;

    bool isAt(JsonGen::Status status) const { return levels.back() == status; }
    bool isInObject() const { return isAt(JsonGen::STARTING_OBJECT) || isAt(JsonGen::INSIDE_OBJECT); }

    /// Above 1 KB whole eighths of the power of two below.
    static size_t getBlockSize(size_t bytes)
    {
        size_t step = 1;
        while (bytes > 1024 && step * 16 <= bytes)
            step *= 2;
        return (bytes + step - 1) / step * step;
    }

    bool reserve(size_t size, size_t spare)
    {
        const size_t wanted = (text.size() + size + spare + 31) / 32 * 32;
        const bool fits = text.size() + size < capacity;
        const bool grows = !frozen || getBlockSize(wanted) == getBlockSize(capacity);
        if (!fits && !grows)
            levels.back() = JsonGen::OUT_OF_MEMORY;
        else if (!fits)
            capacity = wanted;
        return fits || grows;
    }

    void put(const std::string& piece) { text += reserve(piece.size(), 1) ? piece : ""; }

    void play(const Call& call)
    {
        const bool isKeyedStart = call.kind == START && call.key != nullptr;
        if (call.kind == RESET)
            *this = Model{{JsonGen::INITIALIZED}, "", capacity, frozen};
        else if (call.kind == TERMINATE)
            reserve(1, 0);
        else if (call.kind == VALUE && isInObject())
            levels.back() = JsonGen::EXPECTED_KEY_VALUE;
        else if (levels.back() >= JsonGen::OUT_OF_MEMORY)
            return;
        else if (call.kind == MEMBER && !isInObject())
            levels.back() = JsonGen::UNEXPECTED_KEY_VALUE;
        else if (isAt(JsonGen::DONE))
            levels.back() = JsonGen::UNEXPECTED_DATA_AFTER_DONE;
        else if (isKeyedStart && !isInObject())
            levels.back() = JsonGen::UNEXPECTED_KEY_VALUE;
        else if (call.kind == START && levels.size() > JsonGen::MAXIMUM_DEPTH)
            levels.back() = JsonGen::MAXIMUM_DEPTH_EXCEEDED;
        else if (call.kind == START && call.pieces.empty())
            levels.push_back(JsonGen::INTERNAL_ERROR);
        else
            write(call);
    }

    void write(const Call& call)
    {
        if (call.kind == END && !isAt(JsonGen::INITIALIZED)) {
            put(isInObject() ? "}" : "]");
            levels.pop_back();
        } else if (isAt(JsonGen::STARTING_OBJECT)) {
            levels.back() = JsonGen::INSIDE_OBJECT;
        } else if (isAt(JsonGen::STARTING_ARRAY)) {
            levels.back() = JsonGen::INSIDE_ARRAY;
        } else if (!isAt(JsonGen::INITIALIZED)) {
            put(",");
        }
        if (call.key != nullptr) {
            put("\"");
            put(call.key);
        }
        for (const std::string& piece : call.pieces)
            put(piece);
        if (call.kind == START)
            levels.push_back(call.pieces.back() == "{" ? JsonGen::STARTING_OBJECT : JsonGen::STARTING_ARRAY);
        else if (levels.size() == 1)
            levels.back() = JsonGen::DONE;
    }
};

const Call& findCall(char letter)
{
    return *std::find_if(std::begin(CALLS), std::end(CALLS), [&](const Call& call) { return call.letter == letter; });
}

} // namespace

TEST(JsonGenTest, CallsGiveTheirTextAndStatus)
{
    static const char* const CASES[][3] = {
        {"oT", "{\"k\":false", "Insided object"},
        {"e", "", "Done"},
        {"axe", "[", "Internal error"},
        {"aaaaaaaaaaaaaaaO", "[[[[[[[[[[[[[[[", "Unexpected key/value"}, // before the depth
        {"aaaaaaaaaaaaaaaaee", "[[[[[[[[[[[[[[[", "Maximum object depth exceeded"},
    };
    for (const auto& [calls, text, status] : CASES) {
        JsonGen gen;
        for (const char* call = calls; *call != '\0'; ++call)
            findCall(*call).make(gen);
        EXPECT_EQ(textOf(gen), text);
        EXPECT_STREQ(gen.getStatusString(), status) << calls;
    }
    EXPECT_EQ(JsonGen::getStatusString(static_cast<JsonGen::Status>(13)), nullptr);
    EXPECT_STREQ(JsonGen::getStatusString(JsonGen::UNEXPECTED_END), "Unexpected end");
}

TEST(JsonGenTest, DigitsBehindThePoint)
{
    JsonGen gen;
    gen.array(nullptr).add(1.5, 0).add(-0.1, 16).add(0.25, 20).end();
    EXPECT_EQ(textOf(gen), "[2,-0.1000000000000000,0.2500000000000000]");
    EXPECT_EQ(textOf(gen.reset().object(nullptr).add(nullptr, 1.0, 0).end()), "{\"(null)\":1}");
    EXPECT_EQ(textOf(gen.reset().array(nullptr).add(1).addWithFormat("%s", "").add(2).end()), "[1,,2]");
    gen.reset().object(nullptr).add(std::string(1000, 'k').c_str(), 1e308, 16).nullTerminate();
    EXPECT_EQ(strlen(gen.getData()), 1 + 1000 + 3 + 309 + 17) << "more than is formatted on the stack";
}

TEST(JsonGenTest, FractionsAreRoundedAsByTheCLibrary)
{
    std::mt19937_64 random(1);
    std::vector<double> values = {0.0,  -0.0, 0.5, 1.5,   2.5,       -0.125,    0.375,    9.9999, 0.0009765625,
                                  1e-5, 1e15, 1e9, 1e300, 0.1 + 0.2, 99999.995, HUGE_VAL, -NAN,   562949953421311.5};
    for (int i = 0; i < 20000; ++i)
        values.push_back(
            std::ldexp(static_cast<double>(random() >> (random() % 64)), -static_cast<int>(random() % 70)));
    for (const double value : values) {
        const int digits = static_cast<int>(random() % 12);
        for (const int mode : {FE_TONEAREST, FE_UPWARD}) {
            fesetround(mode);
            char expected[400];
            snprintf(expected, sizeof(expected), "%.*f", digits, value);
            JsonGen gen;
            gen.add(value, static_cast<unsigned char>(digits)).nullTerminate();
            fesetround(FE_TONEAREST);
            ASSERT_STREQ(gen.getData(), expected) << digits;
        }
    }
}

TEST(JsonGenTest, IntegersAreWrittenAsTheLogarithmCountsThem)
{
    const auto expectBoth = [](long long value) {
        for (const long long signedValue : {value, -value}) {
            JsonGen gen;
            gen.appendIntegerToBuffer(signedValue);
            EXPECT_EQ(textOf(gen), writeIntegerSlowly(signedValue));
        }
    };
    for (long long power = 1; power <= LLONG_MAX / 10; power *= 10) {
        for (const long long distance : {0, 1, 2, 3, 21, 22, 407, 408, 4160, 4161, 50000, 100001}) {
            expectBoth(power - distance);
            expectBoth(power + distance);
        }
    }
    std::mt19937_64 random(1);
    for (int i = 0; i < 5000; ++i)
        expectBoth(static_cast<long long>(random() >> 1) >> random() % 63);
    JsonGen gen;
    gen.array(nullptr).add(LLONG_MIN).add(999999999999999LL).add(-999999999999999999LL).add(99999999999999LL).add(-1);
    EXPECT_EQ(textOf(gen), "[-9223372036854775808,0999999999999999,-0999999999999999999,99999999999999,-1");
}

TEST(JsonGenTest, RandomCallsGiveTheTextAndStatusOfTheSlowGenerator)
{
    const char* const IN_OBJECT = "oOOaAAeNTJSLQ0Dfz";
    const char* const ELSEWHERE = "oooaaaentjslqdfz";
    for (unsigned int seed = 0; seed < 2000; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        JsonGen gen;
        Model model;
        AllocationFaults faults(AllocationFaults::FAIL_ALL_LATER, 0);
        for (int step = 0; step < 80; ++step) {
            // Mostly what the level accepts.
            const bool isAny = random() % 32 == 0;
            std::string letters = isAny ? "oOaAxenNtTjJsSlLqQ0dDfzr" : model.isInObject() ? IN_OBJECT : ELSEWHERE;
            if (model.levels.back() >= JsonGen::DONE && random() % 4 == 0)
                letters = "r";
            const Call& call = findCall(letters[random() % letters.size()]);
            model.frozen = step >= 50; // from then on no allocation succeeds
            model.frozen ? faults.during([&] { call.make(gen); }) : call.make(gen);
            model.play(call);
            ASSERT_EQ(textOf(gen), model.text);
            ASSERT_EQ(gen.getStatus(), model.levels.back()) << model.text;
            ASSERT_EQ(gen.getDepth(), model.levels.size() - 1) << model.text;
            ASSERT_TRUE(call.kind != TERMINATE || model.frozen || gen.getData() == model.text);
        }
    }
}

TEST(JsonGenFaultTest, WhatFitsOfARefusedOperationIsWritten)
{
    const std::string filler(28, 'x'); // with bracket and quotes 31 bytes: the buffer is full
    JsonGen gen;
    gen.array(nullptr).add(filler.c_str());
    AllocationFaults(AllocationFaults::FAIL_ONE, 0).during([&] { gen.add("y"); });
    // The room for all of it was refused, the room for its pieces was not.
    EXPECT_EQ(textOf(gen), "[\"" + filler + "\",\"y\"");
    EXPECT_STREQ(gen.getStatusString(), "Out of memory");
    EXPECT_STREQ(gen.reset().add(1).nullTerminate().getData(), "1");
}
