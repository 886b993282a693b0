#include "json/JsonGen.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
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

    void open(const char* key, int type)
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

    void terminate()
    {
        if (text.size() + 1 < capacity)
            return;
        if (frozen)
            levels.back() = 6;
        else
            capacity = (text.size() + 32) / 32 * 32;
    }

    void reset()
    {
        levels.assign(1, 0);
        text.clear();
    }
};

/// Makes the same random calls on the generator and on its model.
struct Pair
{
    JsonGen gen;
    Model model;
    AllocationFaults faults{AllocationFaults::FAIL_ALL_LATER, 0};
    std::mt19937 random;

    explicit Pair(unsigned int seed) : random(seed) {}

    template <class Real, class Slow>
    void both(Real real, Slow slow)
    {
        if (model.frozen)
            faults.arm();
        real();
        faults.disarm();
        slow();
    }

    void value(const char* key, bool inside)
    {
        static const char* const TEXTS[] = {"",
                                            "a",
                                            "https://x.y/\"z\"",
                                            "\xC3\xA9",
                                            "drop\x01ped\x7f",
                                            nullptr,
                                            "k",
                                            "a text of more than thirty-two bytes",
                                            "sixteen bytes!!!"};
        const char* const text = TEXTS[random() % 9];
        const long long number = static_cast<long long>(random()) * static_cast<int>(random()) >> random() % 60;
        const std::string digits = writeIntegerSlowly(number);
        const std::string sign = number < 0 ? "-" : "";
        const std::string magnitude = digits.substr(sign.size());
        switch (inside ? random() % 4 : 4 + random() % 4) {
        case 0:
            return both([&] { gen.add(key, JsonGen::NullType()); }, [&] { model.member(key, {"\":null"}); });
        case 1:
            return both([&] { gen.add(key, false); }, [&] { model.member(key, {"\":false"}); });
        case 2:
            return both([&] { gen.add(key, number); }, [&] { model.member(key, {"\":", sign, magnitude}); });
        case 3:
            return both([&] { gen.add(key, text); }, [&] { model.member(key, {"\":\"", escapeSlowly(text), "\""}); });
        case 4:
            return both([&] { gen.add(JsonGen::NullType()); }, [&] { model.value({"null"}); });
        case 5:
            return both([&] { gen.add(true); }, [&] { model.value({"true"}); });
        case 6:
            return both([&] { gen.add(number); }, [&] { model.value({sign, magnitude}); });
        default:
            return both([&] { gen.add(text); }, [&] { model.value({"\"", escapeSlowly(text), "\""}); });
        }
    }

    void call()
    {
        // Misplaced now and then.
        const bool inside = model.inObject() != (random() % 64 == 0);
        const char* const key = random() % 2 == 0 ? "key" : "k/\t";
        const char* const collectionKey = inside ? key : nullptr;
        switch (random() % 12) {
        case 0:
        case 1:
            return both([&] { gen.object(collectionKey); }, [&] { model.open(collectionKey, 1); });
        case 2:
        case 3:
            return both([&] { gen.array(collectionKey); }, [&] { model.open(collectionKey, 3); });
        case 4:
        case 5:
            return both([&] { gen.end(); }, [&] { model.end(); });
        case 6:
            return both([&] { gen.addWithFormat("\"%s\":%d", "f", 5); }, [&] { model.value({"\"f\":5"}, true); });
        case 7:
            return both([&] { gen.nullTerminate(); }, [&] { model.terminate(); });
        default:
            return value(key, inside);
        }
    }

    void run(int calls)
    {
        for (; calls > 0; --calls) {
            if (model.levels.back() >= 5 && random() % 4 == 0)
                both([&] { gen.reset(); }, [&] { model.reset(); });
            call();
            ASSERT_EQ(textOf(gen), model.text);
            ASSERT_EQ(gen.getStatus(), model.levels.back()) << model.text;
            ASSERT_EQ(gen.getDepth(), model.levels.size() - 1) << model.text;
        }
    }
};

} // namespace

TEST(JsonGenTest, CallsGiveTheirTextAndStatus)
{
    struct Case
    {
        const char* name;
        std::function<void(JsonGen&)> calls;
        const char* text;
        const char* status;
    };
    const Case CASES[] = {
        {"nothing", [](JsonGen&) {}, "", "Initialized"},
        {"one value", [](JsonGen& g) { g.add("a"); }, "\"a\"", "Done"},
        {"value after done", [](JsonGen& g) { g.add("a").add(1); }, "\"a\"", "Unexpected data after done"},
        {"collection after done", [](JsonGen& g) { g.add(1).array("k"); }, "1", "Unexpected data after done"},
        {"format after done", [](JsonGen& g) { g.add(1).addWithFormat("x"); }, "1", "Unexpected data after done"},
        {"end after done", [](JsonGen& g) { g.add(1).end(); }, "1", "Unexpected data after done"},
        {"member after done", [](JsonGen& g) { g.add(1).add("k", 1); }, "1", "Unexpected key/value"},
        {"an error stays", [](JsonGen& g) { g.add("k", 1).add(1).add("k", 1.0, 1).object(nullptr).end(); }, "",
         "Unexpected key/value"},
        {"object open", [](JsonGen& g) { g.object(nullptr); }, "{", "Starting object"},
        {"inside object", [](JsonGen& g) { g.object(nullptr).add("k", true); }, "{\"k\":true", "Insided object"},
        {"inside array", [](JsonGen& g) { g.array(nullptr).add(false); }, "[false", "Inside array"},
        {"array in array", [](JsonGen& g) { g.array(nullptr).array(nullptr); }, "[[", "Starting array"},
        {"the same key twice", [](JsonGen& g) { g.object(nullptr).add("k", 1).add("k", true).end(); },
         "{\"k\":1,\"k\":true}", "Done"},
        {"value without key", [](JsonGen& g) { g.object(nullptr).add(1); }, "{", "Expected key/value"},
        {"double without key", [](JsonGen& g) { g.object(nullptr).add(1.0, 1); }, "{", "Expected key/value"},
        {"collection without key", [](JsonGen& g) { g.object(nullptr).array(nullptr).end().end(); }, "{[]}", "Done"},
        {"member in array", [](JsonGen& g) { g.array(nullptr).add("k", JsonGen::NullType()); }, "[",
         "Unexpected key/value"},
        {"double member in array", [](JsonGen& g) { g.array(nullptr).add("k", 1.0, 1); }, "[", "Unexpected key/value"},
        {"keyed collection at the start", [](JsonGen& g) { g.object("k"); }, "", "Unexpected key/value"},
        {"keyed collection in array", [](JsonGen& g) { g.array(nullptr).object("k"); }, "[", "Unexpected key/value"},
        {"end at the start", [](JsonGen& g) { g.end(); }, "", "Done"},
        {"an error keeps its level open", [](JsonGen& g) { g.array(nullptr).object(nullptr).add(1).end(); }, "[{",
         "Expected key/value"},
        {"a type that is none", [](JsonGen& g) { g.array(nullptr).startCollection(nullptr, JsonGen::DONE).end(); }, "[",
         "Internal error"},
        {"null texts", [](JsonGen& g) { g.object(nullptr).add(nullptr, static_cast<const char*>(nullptr)).end(); },
         "{\"(null)\":\"(null)\"}", "Done"},
        {"null key of a double", [](JsonGen& g) { g.object(nullptr).add(nullptr, 1.0, 0).end(); }, "{\"(null)\":1}",
         "Done"},
        {"key of a double goes out as it is",
         [](JsonGen& g) { g.object(nullptr).add("a/b", 1).add("a/b", 0.5, 1).end(); }, "{\"a\\/b\":1,\"a/b\":0.5}",
         "Done"},
        {"digits", [](JsonGen& g) { g.array(nullptr).add(1.5, 2).add(1.5, 0).add(-0.1, 16).add(0.25, 20).end(); },
         "[1.50,2,-0.1000000000000000,0.2500000000000000]", "Done"},
        {"format without a key", [](JsonGen& g) { g.object(nullptr).addWithFormat("%d", 1).addWithFormat("x").end(); },
         "{1,x}", "Done"},
        {"keyless double at the start", [](JsonGen& g) { g.add(2.0, 1); }, "2.0", "Done"},
        {"dropped characters leave blanks at the end",
         [](JsonGen& g) {
             g.array(nullptr)
                 .add("a\x01"
                      "b\x7f/")
                 .add(7)
                 .end();
         },
         "[\"ab\\/  \",7]", "Done"},
        {"reset", [](JsonGen& g) { g.object(nullptr).add("k", "v").add(1).reset().array(nullptr).end(); }, "[]",
         "Done"},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.name);
        JsonGen gen;
        c.calls(gen);
        EXPECT_EQ(textOf(gen), c.text);
        EXPECT_STREQ(gen.getStatusString(), c.status);
    }
    EXPECT_EQ(JsonGen::getStatusString(static_cast<JsonGen::Status>(13)), nullptr);
    EXPECT_STREQ(JsonGen::getStatusString(JsonGen::UNEXPECTED_END), "Unexpected end");
}

TEST(JsonGenTest, FifteenLevelsAndNoMore)
{
    JsonGen gen;
    gen.array(nullptr);
    for (int level = 2; level <= 15; ++level)
        level % 2 == 0 ? gen.object(nullptr) : gen.array("k");
    EXPECT_EQ(textOf(gen), "[{\"k\":[{\"k\":[{\"k\":[{\"k\":[{\"k\":[{\"k\":[{\"k\":[");
    EXPECT_STREQ(gen.getStatusString(), "Starting array");
    JsonGen full;
    full.array(nullptr);
    for (int level = 2; level <= 16; ++level)
        full.array(nullptr);
    EXPECT_STREQ(full.getStatusString(), "Maximum object depth exceeded");
    EXPECT_EQ(full.end().add(1).getDepth(), 15u);
    EXPECT_EQ(textOf(full), std::string(15, '['));
    EXPECT_STREQ(gen.object("k").getStatusString(), "Unexpected key/value") << "the key is looked at before the depth";
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
    const std::function<void(JsonGen&)> WRITERS[] = {
        [](JsonGen& g) { g.add("t"); },
        [](JsonGen& g) { g.add("/"); },
        [](JsonGen& g) { g.add(-10); },
        [](JsonGen& g) { g.add(1e308, 16); },
        [](JsonGen& g) { g.add(true); },
        [](JsonGen& g) { g.array(nullptr); },
        [](JsonGen& g) { g.end(); },
        [](JsonGen& g) { g.object(nullptr); },
        [](JsonGen& g) { g.addWithFormat("%0500d", 1); },
    };
    for (const auto& writer : WRITERS) {
        JsonGen plain;
        writer(plain.array(nullptr).add(1));
        const std::string tail = textOf(plain).substr(2);
        for (size_t length = 0; length < 100; ++length) {
            JsonGen gen;
            writer(gen.array(nullptr).add(std::string(length, 'x').c_str()));
            gen.nullTerminate().nullTerminate();
            ASSERT_EQ(gen.getData(), "[\"" + std::string(length, 'x') + "\"" + tail);
            ASSERT_EQ(strlen(gen.getData()), gen.getLength());
        }
    }
}

TEST(JsonGenTest, RandomCallsGiveTheTextAndStatusOfTheSlowGenerator)
{
    for (unsigned int seed = 0; seed < 1500 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Pair pair(seed);
        pair.run(static_cast<int>(pair.random() % 60));
        pair.model.frozen = true; // from here on no allocation succeeds
        pair.run(20);
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
