#include "json/JsonGen.h"

#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tests/support/AllocationFaults.h"

using json::JsonGen;

namespace {

std::string textOf(const JsonGen& gen)
{
    return std::string(gen.getLength() == 0 ? "" : gen.getData(), gen.getLength());
}

/// Escapes byte by byte, counting first; what was counted and not written is blank.
std::string escapeSlowly(const char* text)
{
    const std::string letters = "\"\\/\b\t\n\f\r";
    size_t counted = 0;
    std::string written;
    for (const char* at = text == nullptr ? "(null)" : text; *at != '\0'; ++at) {
        const size_t letter = letters.find(*at);
        counted += letter == std::string::npos ? 1 : 2;
        if (letter != std::string::npos)
            (written += '\\') += "\"\\/btnfr"[letter];
        else if (static_cast<unsigned char>(*at) >= 32 && *at != 127)
            written += *at;
    }
    written.resize(counted, ' ');
    return written;
}

/// Subtracts powers of ten, as many as the logarithm says.
std::string writeIntegerSlowly(long long value)
{
    if (value == 0)
        return "0";
    const bool smallest = value == LLONG_MIN;
    long long magnitude = smallest ? LLONG_MAX : std::abs(value);
    const double logarithm = std::log10(static_cast<double>(magnitude));
    const double whole = std::ceil(logarithm);
    long long power = 1;
    for (int digits = static_cast<int>(whole == logarithm ? whole + 1 : whole); digits > 1; --digits)
        power *= 10;
    std::string text = value < 0 ? "-" : "";
    for (; power > 0; power /= 10) {
        char digit = '0';
        for (; magnitude >= power; magnitude -= power)
            ++digit;
        text += digit;
    }
    text.back() = static_cast<char>(text.back() + (smallest ? 1 : 0));
    return text;
}

/// The generator again, slow and piece by piece. Once frozen, its buffer grows no more.
struct Model
{
    std::vector<int> levels{0};
    std::string text;
    size_t capacity = 0;
    bool frozen = false;

    void put(const std::string& piece)
    {
        if (!piece.empty() && text.size() + piece.size() >= capacity) {
            if (frozen) {
                levels.back() = 6;
                return;
            }
            capacity = (text.size() + piece.size() + 32) / 32 * 32;
        }
        text += piece;
    }

    void complete() { levels.back() = levels.size() == 1 ? 5 : levels.back(); }
    bool inObject() const { return levels.back() == 1 || levels.back() == 2; }

    void separate()
    {
        if (levels.back() == 1 || levels.back() == 3)
            ++levels.back();
        else if (levels.back() == 2 || levels.back() == 4)
            put(",");
    }

    void putKey(const char* key)
    {
        put("\"");
        put(escapeSlowly(key));
    }

    bool accepts()
    {
        levels.back() = levels.back() == 5 ? 9 : levels.back();
        return levels.back() < 6;
    }

    void value(const std::vector<std::string>& pieces, bool anywhere = false)
    {
        if (inObject() && !anywhere) {
            levels.back() = 8;
        } else if (accepts()) {
            separate();
            for (const std::string& piece : pieces)
                put(piece);
            complete();
        }
    }

    void member(const char* key, const std::vector<std::string>& pieces)
    {
        if (!inObject()) {
            levels.back() = levels.back() < 6 ? 7 : levels.back();
            return;
        }
        separate();
        putKey(key);
        for (const std::string& piece : pieces)
            put(piece);
    }

    void startCollection(const char* key, JsonGen::Status type)
    {
        if (!accepts())
            return;
        if (key != nullptr && !inObject()) {
            levels.back() = 7;
        } else if (levels.size() == 16) {
            levels.back() = 11;
        } else if (type != 1 && type != 3) {
            levels.push_back(12);
        } else {
            separate();
            if (key != nullptr) {
                putKey(key);
                put("\":");
            }
            put(type == 1 ? "{" : "[");
            levels.push_back(type);
        }
    }

    void end()
    {
        if (!accepts())
            return;
        if (levels.back() != 0) {
            put(inObject() ? "}" : "]");
            levels.pop_back();
        }
        complete();
    }

    void nullTerminate()
    {
        if (text.size() + 1 < capacity)
            return;
        if (frozen)
            levels.back() = 6;
        else
            capacity = (text.size() + 32) / 32 * 32;
    }

    void object(const char* key) { startCollection(key, JsonGen::STARTING_OBJECT); }
    void array(const char* key) { startCollection(key, JsonGen::STARTING_ARRAY); }
    void add(JsonGen::NullType) { value({"null"}); }
    void add(bool yes) { value({yes ? "true" : "false"}); }
    void add(const char* string) { value({"\"", escapeSlowly(string), "\""}); }
    void add(int number) { value({number < 0 ? "-" : "", writeIntegerSlowly(std::abs(number))}); }
    void add(const char* key, JsonGen::NullType) { member(key, {"\":null"}); }
    void add(const char* key, bool yes) { member(key, {yes ? "\":true" : "\":false"}); }
    void add(const char* key, const char* string) { member(key, {"\":\"", escapeSlowly(string), "\""}); }
    void add(const char* key, int number)
    {
        member(key, {"\":", number < 0 ? "-" : "", writeIntegerSlowly(std::abs(number))});
    }
    void add(double, unsigned char) { value({"1.50"}); }
    void add(const char* key, double, unsigned char)
    {
        inObject() ? value({"\"" + std::string(key) + "\":1.50"}, true) : member(key, {});
    }
    void addWithFormat(const char* raw) { value({raw}, true); }

    void reset()
    {
        levels.assign(1, 0);
        text.clear();
    }
};

const char LETTERS[] = "ooOOaaAAeeeeeenNttTTiiIIjjJJssSSllLLqqQQ0ddDDfxz";

/// Makes one call a letter; capitals are keyed.
template <class Generator>
void play(Generator& gen, const char* letters)
{
    const char* const LONG_TEXT = "a text of more than thirty-two bytes, all of them plain";
    const char* const NO_TEXT = nullptr;
    for (; *letters != '\0'; ++letters) {
        // clang-format off
        switch (*letters) {
        case 'o': gen.object(nullptr); break;
        case 'O': gen.object("k"); break;
        case 'a': gen.array(nullptr); break;
        case 'A': gen.array("k/"); break;
        case 'e': gen.end(); break;
        case 'n': gen.add(JsonGen::NullType()); break;
        case 'N': gen.add("k", JsonGen::NullType()); break;
        case 't': gen.add(true); break;
        case 'T': gen.add("k", false); break;
        case 'i': gen.add(1); break;
        case 'I': gen.add("k", 1); break;
        case 'j': gen.add(-1234567890); break;
        case 'J': gen.add("\xC3\xA9", -7654321); break;
        case 's': gen.add("s"); break;
        case 'S': gen.add("k", "s"); break;
        case 'l': gen.add(LONG_TEXT); break;
        case 'L': gen.add("long key", LONG_TEXT); break;
        case 'q': gen.add("ab\x01" "c\x7f/\n"); break;
        case 'Q': gen.add("q\"", "https://x.y/\"z\""); break;
        case '0': gen.add(NO_TEXT, NO_TEXT); break;
        case 'd': gen.add(1.5, 2); break;
        case 'D': gen.add("a/b", 1.5, 2); break;
        case 'f': gen.addWithFormat("raw"); break;
        case 'x': gen.startCollection(nullptr, JsonGen::INSIDE_OBJECT); break;
        case 'z': gen.nullTerminate(); break;
        case 'r': gen.reset(); break;
        default: FAIL() << "no such call";
        }
        // clang-format on
    }
}

} // namespace

TEST(JsonGenTest, CallsGiveTheirTextAndStatus)
{
    struct Case
    {
        const char* name;
        const char* calls;
        const char* text;
        const char* status;
    };
    static const Case CASES[] = {
        {"nothing", "", "", "Initialized"},
        {"one value", "s", "\"s\"", "Done"},
        {"one double", "d", "1.50", "Done"},
        {"value after done", "st", "\"s\"", "Unexpected data after done"},
        {"double after done", "sd", "\"s\"", "Unexpected data after done"},
        {"keyed collection after done", "iA", "1", "Unexpected data after done"},
        {"format after done", "if", "1", "Unexpected data after done"},
        {"end after done", "ie", "1", "Unexpected data after done"},
        {"member after done", "iI", "1", "Unexpected key/value"},
        {"an error stays", "IiSDofe", "", "Unexpected key/value"},
        {"object open", "o", "{", "Starting object"},
        {"inside object", "oT", "{\"k\":false", "Insided object"},
        {"inside array", "at", "[true", "Inside array"},
        {"array in array", "aa", "[[", "Starting array"},
        {"collections as members", "oOeAee", "{\"k\":{},\"k\\/\":[]}", "Done"},
        {"collection without key", "oae", "{[]", "Insided object"},
        {"value without key", "oi", "{", "Expected key/value"},
        {"double without key", "od", "{", "Expected key/value"},
        {"member in array", "aN", "[", "Unexpected key/value"},
        {"double member in array", "aD", "[", "Unexpected key/value"},
        {"keyed collection at the start", "O", "", "Unexpected key/value"},
        {"keyed collection in array", "aO", "[", "Unexpected key/value"},
        {"end at the start", "e", "", "Done"},
        {"an error keeps its level open", "aoiee", "[{", "Expected key/value"},
        {"a type that is none", "axe", "[", "Internal error"},
        {"null texts", "o0e", "{\"(null)\":\"(null)\"}", "Done"},
        {"key of a double goes out as it is", "oDe", "{\"a/b\":1.50}", "Done"},
        {"format without a key", "offe", "{raw,raw}", "Done"},
        {"dropped characters leave blanks at the end", "aqie", "[\"abc\\/\\n  \",1]", "Done"},
        {"reset", "oSirae", "[]", "Done"},
        {"key before depth", "aaaaaaaaaaaaaaaO", "[[[[[[[[[[[[[[[", "Unexpected key/value"},
        {"fifteen levels", "oAoAoAoAoAoAoAo",
         "{\"k\\/\":[{\"k\\/\":[{\"k\\/\":[{\"k\\/\":[{\"k\\/\":[{"
         "\"k\\/\":[{\"k\\/\":[{",
         "Starting object"},
        {"sixteen levels cannot be closed", "aaaaaaaaaaaaaaaaee", "[[[[[[[[[[[[[[[", "Maximum object depth exceeded"},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.name);
        JsonGen gen;
        play(gen, c.calls);
        EXPECT_EQ(textOf(gen), c.text);
        EXPECT_STREQ(gen.getStatusString(), c.status);
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
}

TEST(JsonGenTest, IntegersAreWrittenAsTheLogarithmCountsThem)
{
    const long long DISTANCES[] = {0, 1, 2, 3, 21, 22, 407, 408, 4160, 4161, 50000, 100001};
    std::vector<long long> values{0, INT_MAX, INT_MIN, LLONG_MAX, LLONG_MIN, LLONG_MIN + 1};
    for (long long power = 1;; power *= 10) {
        for (long long distance : DISTANCES)
            for (long long value : {power - distance, power + distance, distance - power, -power - distance})
                values.push_back(value);
        if (power > LLONG_MAX / 10)
            break;
    }
    std::mt19937_64 random(1);
    for (int i = 0; i < 5000; ++i)
        values.push_back(static_cast<long long>(random()) >> random() % 64);
    for (long long value : values) {
        JsonGen gen;
        gen.appendIntegerToBuffer(value);
        ASSERT_EQ(textOf(gen), writeIntegerSlowly(value));
    }
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
        for (unsigned int specials = random() % 4; specials > 0 && !text.empty(); --specials)
            text[random() % text.size()] =
                random() % 2 == 0 ? COMMON[random() % (sizeof(COMMON) - 1)] : static_cast<char>(1 + random() % 255);
        const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1); // nothing readable behind it
        JsonGen gen;
        gen.appendEscapedStringToBuffer(exact.data()).nullTerminate();
        ASSERT_EQ(textOf(gen), escapeSlowly(text.c_str())) << text;
        ASSERT_EQ(gen.getData()[gen.getLength()], '\0');
    }
}

TEST(JsonGenTest, TextsOfEveryLengthAreTerminated)
{
    for (const char* letters : {"t", "s", "q", "i", "j", "d", "l", "a", "o", "e", "f", "oD", "oJ"}) {
        JsonGen plain;
        play(plain.array(nullptr).add(1), letters);
        const std::string tail = textOf(plain).substr(2);
        for (size_t length = 0; length < 100; ++length) {
            JsonGen gen;
            play(gen.array(nullptr).add(std::string(length, 'x').c_str()), letters);
            gen.nullTerminate().nullTerminate();
            ASSERT_EQ(gen.getData(), "[\"" + std::string(length, 'x') + "\"" + tail);
            ASSERT_EQ(strlen(gen.getData()), gen.getLength());
        }
    }
    JsonGen gen;
    const std::string key(1000, 'k');
    gen.object(nullptr).add(key.c_str(), 1e308, 16).nullTerminate();
    EXPECT_EQ(strlen(gen.getData()), 1 + 1000 + 3 + 309 + 17) << "more than is formatted on the stack";
}

TEST(JsonGenTest, RandomCallsGiveTheTextAndStatusOfTheSlowGenerator)
{
    for (unsigned int seed = 0; seed < 2000; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        JsonGen gen;
        Model model;
        AllocationFaults faults(AllocationFaults::FAIL_ALL_LATER, 0);
        for (int call = 0; call < 80; ++call) {
            char letters[2] = {LETTERS[random() % (sizeof(LETTERS) - 1)], '\0'};
            // Mostly what the level accepts: small letters outside of objects.
            if (random() % 32 != 0 && isalpha(letters[0]) && strchr("efxz", letters[0]) == nullptr)
                letters[0] = static_cast<char>(model.inObject() ? toupper(letters[0]) : tolower(letters[0]));
            if (model.levels.back() >= 5 && random() % 4 == 0)
                letters[0] = 'r';
            model.frozen = call >= 50; // from then on no allocation succeeds
            if (model.frozen)
                faults.arm();
            play(gen, letters);
            faults.disarm();
            play(model, letters);
            ASSERT_EQ(textOf(gen), model.text);
            ASSERT_EQ(gen.getStatus(), model.levels.back()) << model.text;
            ASSERT_EQ(gen.getDepth(), model.levels.size() - 1) << model.text;
        }
    }
}

TEST(JsonGenFaultTest, RefusedGrowthIsTheStatusOfItsLevel)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        JsonGen gen;
        faults.arm();
        gen.array(nullptr).add("thirty-two bytes are too few for this").object(nullptr);
        gen.add("double", 1e300, 16).add("k", "a/b").add("n", 12345678901234567LL).nullTerminate();
        faults.disarm();
        const bool failed = faults.getCount() > 0 && gen.getStatus() == JsonGen::OUT_OF_MEMORY;
        EXPECT_TRUE(failed || gen.isOk());
        return !failed && gen.getDepth() == 2 && gen.getData() != nullptr && gen.getData()[gen.getLength()] == '\0';
    });
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
    EXPECT_STREQ(gen.end().getStatusString(), "Out of memory");

    JsonGen alone;
    AllocationFaults all(AllocationFaults::FAIL_ALL_LATER, 0);
    all.arm();
    alone.add("a");
    EXPECT_STREQ(alone.getStatusString(), "Done") << "at document level the text alone tells";
    alone.nullTerminate();
    all.disarm();
    EXPECT_STREQ(alone.getStatusString(), "Out of memory");
    EXPECT_EQ(alone.getData(), nullptr);
    EXPECT_TRUE(alone.growBuffer(0));
    EXPECT_STREQ(alone.reset().add(1).nullTerminate().getData(), "1");
}
