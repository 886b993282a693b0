#include "json/JsonGen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/AllocationFaults.h"

using json::JsonGen;

namespace {

std::string textOf(const JsonGen& gen)
{
    return std::string(gen.getLength() == 0 ? "" : gen.getData(), gen.getLength());
}

/// Escapes byte by byte; blanks at the end stand for what was dropped.
std::string escapeSlowly(const std::string& text)
{
    std::string written;
    std::string dropped;
    for (const char byte : text) {
        const size_t letter = std::string("\"\\/\b\t\n\f\r").find(byte);
        if (letter != std::string::npos)
            written += {'\\', "\"\\/btnfr"[letter]};
        else if (static_cast<unsigned char>(byte) < 32 || byte == 127)
            dropped += ' ';
        else
            written += byte;
    }
    return written + dropped;
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

/// The generator again, slow and piece by piece. Once frozen, its buffer grows no more.
struct Model
{
    std::vector<int> levels{0};
    std::string text;
    size_t capacity = 0;
    bool frozen = false;

    bool isInObject() const { return levels.back() == 1 || levels.back() == 2; }

    bool reserve(size_t size, size_t spare)
    {
        const bool fits = text.size() + size < capacity;
        if (!fits && frozen)
            levels.back() = 6;
        else if (!fits)
            capacity = (text.size() + size + spare + 31) / 32 * 32;
        return fits || !frozen;
    }

    void put(const std::string& piece) { text += reserve(piece.size(), 1) ? piece : ""; }

    void play(const Call& call)
    {
        if (call.kind == RESET) {
            levels.assign(1, 0);
            text.clear();
        } else if (call.kind == TERMINATE) {
            reserve(1, 0);
        } else if (call.kind == VALUE && isInObject()) {
            levels.back() = 8;
        } else if (levels.back() >= 6) {
            return;
        } else if (call.kind == MEMBER && !isInObject()) {
            levels.back() = 7;
        } else if (levels.back() == 5) {
            levels.back() = 9;
        } else if (call.kind == START && call.key != nullptr && !isInObject()) {
            levels.back() = 7;
        } else if (call.kind == START && levels.size() == 16) {
            levels.back() = 11;
        } else if (call.kind == START && call.pieces.empty()) {
            levels.push_back(12);
        } else {
            write(call);
        }
    }

    void write(const Call& call)
    {
        if (call.kind == END && levels.back() != 0) {
            put(isInObject() ? "}" : "]");
            levels.pop_back();
        } else if (levels.back() == 1 || levels.back() == 3) {
            ++levels.back();
        } else if (levels.back() != 0) {
            put(",");
        }
        if (call.key != nullptr) {
            put("\"");
            put(call.key);
        }
        for (const std::string& piece : call.pieces)
            put(piece);
        if (call.kind == START) {
            levels.push_back(call.pieces.back() == "{" ? 1 : 3);
        } else if (levels.size() == 1) {
            levels.back() = 5;
        }
    }
};

const Call& findCall(char letter)
{
    return *std::find_if(std::begin(CALLS), std::end(CALLS), [&](const Call& call) { return call.letter == letter; });
}

void play(JsonGen& gen, const char* letters)
{
    for (; *letters != '\0'; ++letters)
        findCall(*letters).make(gen);
}

} // namespace

TEST(JsonGenTest, CallsGiveTheirTextAndStatus)
{
    static const std::tuple<const char*, const char*, const char*, const char*> CASES[] = {
        {"value after done", "st", "\"s\"", "Unexpected data after done"},
        {"inside object", "oT", "{\"k\":false", "Insided object"},
        {"value without key", "on", "{", "Expected key/value"},
        {"end at the start", "e", "", "Done"},
        {"a type that is none", "axe", "[", "Internal error"},
        {"key before depth", "aaaaaaaaaaaaaaaO", "[[[[[[[[[[[[[[[", "Unexpected key/value"},
        {"sixteen levels cannot be closed", "aaaaaaaaaaaaaaaaee", "[[[[[[[[[[[[[[[", "Maximum object depth exceeded"},
    };
    for (const auto& [name, calls, text, status] : CASES) {
        SCOPED_TRACE(name);
        JsonGen gen;
        play(gen, calls);
        EXPECT_EQ(textOf(gen), text);
        EXPECT_STREQ(gen.getStatusString(), status);
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
    gen.reset().object(nullptr).add(std::string(1000, 'k').c_str(), 1e308, 16).nullTerminate();
    EXPECT_EQ(strlen(gen.getData()), 1 + 1000 + 3 + 309 + 17) << "more than is formatted on the stack";
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

TEST(JsonGenTest, StringsAreEscapedAsByteByByte)
{
    std::mt19937 random(2);
    static const char COMMON[] = "abc \"/\\\x01\x1f\x7f\x80\xff\n\t.!#0[]";
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 70, 'x');
        for (unsigned int specials = random() % 4; specials > 0 && !text.empty(); --specials) {
            text[random() % text.size()] =
                random() % 2 == 0 ? COMMON[random() % (sizeof(COMMON) - 1)] : static_cast<char>(1 + random() % 255);
        }
        const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1); // nothing readable behind it
        JsonGen gen;
        gen.appendEscapedStringToBuffer(exact.data()).nullTerminate();
        ASSERT_EQ(textOf(gen), escapeSlowly(text)) << text;
        ASSERT_EQ(gen.getData()[gen.getLength()], '\0');
    }
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
            if (model.levels.back() >= 5 && random() % 4 == 0)
                letters = "r";
            const Call& call = findCall(letters[random() % letters.size()]);
            model.frozen = step >= 50; // from then on no allocation succeeds
            if (model.frozen)
                faults.arm();
            call.make(gen);
            faults.disarm();
            model.play(call);
            ASSERT_EQ(textOf(gen), model.text);
            ASSERT_EQ(gen.getStatus(), model.levels.back()) << model.text;
            ASSERT_EQ(gen.getDepth(), model.levels.size() - 1) << model.text;
            if (call.kind == TERMINATE && !model.frozen) {
                ASSERT_STREQ(gen.getData(), model.text.c_str());
            }
        }
    }
}

TEST(JsonGenFaultTest, WhatFitsOfARefusedOperationIsWritten)
{
    const std::string filler(28, 'x'); // with bracket and quotes 31 bytes: the buffer is full
    JsonGen gen;
    gen.array(nullptr).add(filler.c_str());
    AllocationFaults faults(AllocationFaults::FAIL_ONE, 0);
    faults.arm();
    gen.add("y");
    faults.disarm();
    // The room for all of it was refused, the room for its pieces was not.
    EXPECT_EQ(textOf(gen), "[\"" + filler + "\",\"y\"");
    EXPECT_STREQ(gen.getStatusString(), "Out of memory");
    EXPECT_STREQ(gen.reset().add(1).nullTerminate().getData(), "1");
}
