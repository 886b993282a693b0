#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "ostrel/DynamicString.h"
#include "ostrel/FixedString.h"
#include "ostrel/StringUtils.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/RecordingPolicy.h"

using Ostrel::DynamicString;
using Ostrel::FixedString;
using Ostrel::ReadableString;
using Ostrel::WritableString;

namespace {

/// A string whose storage has guard bytes on both sides.
class GuardedString
{
public:
    GuardedString(unsigned int byteSize, const std::string& text)
        : _bytes(byteSize + 2 * GUARD_SIZE, GUARD), string(&_bytes[GUARD_SIZE], byteSize)
    {
        memcpy(&_bytes[GUARD_SIZE], text.c_str(), std::min<size_t>(byteSize, text.size() + 1));
    }

    bool isIntact() const
    {
        for (size_t i = 0; i < GUARD_SIZE; ++i) {
            if (_bytes[i] != GUARD || _bytes[_bytes.size() - 1 - i] != GUARD)
                return false;
        }
        return true;
    }

private:
    static constexpr size_t GUARD_SIZE = 16;
    static constexpr char GUARD = '\x55';
    std::vector<char> _bytes;

public:
    WritableString string;
};

/// What a text should be after an edit, worked out the slow way, character by character.
struct Model
{
    std::vector<std::string> characters;
    size_t byteSize;

    std::string join() const
    {
        std::string text;
        for (const std::string& c : characters)
            text += c;
        return text;
    }

    int insert(unsigned int index, const std::vector<std::string>& source)
    {
        if (byteSize == 0)
            return ReadableString::RC_NO_SPACE;
        if (index > characters.size())
            return ReadableString::RC_INVALID_INDEX;
        const std::vector<std::string> head(characters.begin(), characters.begin() + index);
        const std::vector<std::string> tail(characters.begin() + index, characters.end());
        const Model whole = {source, 0};
        if (join().size() + whole.join().size() < byteSize) {
            characters.insert(characters.begin() + index, source.begin(), source.end());
            return ReadableString::RC_OK;
        }
        const Model kept = {head, byteSize};
        if (kept.join().size() == byteSize - 1)
            return ReadableString::RC_NO_SPACE;
        characters = head;
        if (addFitting(source))
            addFitting(tail);
        return ReadableString::RC_NO_SPACE;
    }

    bool addFitting(const std::vector<std::string>& more)
    {
        for (const std::string& c : more) {
            if (join().size() + c.size() >= byteSize)
                return false;
            characters.push_back(c);
        }
        return true;
    }

    int erase(unsigned int index, unsigned int count)
    {
        if (index >= characters.size())
            return ReadableString::RC_INVALID_INDEX;
        const uint64_t end = std::min<uint64_t>(characters.size(), uint64_t(index) + count);
        characters.erase(characters.begin() + index, characters.begin() + static_cast<long>(end));
        return ReadableString::RC_OK;
    }
};

std::vector<std::string> makeCharacters(std::mt19937& random, size_t count)
{
    static const char* const CHARACTERS[] = {"a", "B", "é", "€", "😀"};
    std::vector<std::string> characters(count);
    for (std::string& c : characters)
        c = CHARACTERS[random() % 5];
    return characters;
}

} // namespace

class StringTest : public ReportTest
{};

TEST_F(StringTest, RandomEditsMatchTheModelInsideTheStorage)
{
    std::mt19937 random(1);
    for (unsigned int round = 0; round < 300; ++round) {
        Model model = {{}, round % 34};
        GuardedString text(round % 34, "");
        for (unsigned int step = 0; step < 30; ++step) {
            const std::vector<std::string> source = makeCharacters(random, random() % 8);
            const std::string bytes = Model{source, 0}.join();
            const unsigned int index = random() % 10 == 0 ? UINT_MAX : random() % (model.characters.size() + 2);
            const unsigned int count = random() % 10 == 0 ? UINT_MAX : random() % 5;
            switch (random() % 3) {
            case 0:
                ASSERT_EQ(text.string.insert(index, bytes.c_str()), model.insert(index, source));
                break;
            case 1:
                ASSERT_EQ(text.string.erase(index, count), model.erase(index, count));
                break;
            default:
                model.characters.clear();
                ASSERT_EQ(text.string.assign(bytes.c_str()), model.insert(0, source));
            }
            ASSERT_TRUE(text.isIntact());
            if (model.byteSize == 0)
                continue;
            ASSERT_EQ(text.string.getData(), model.join()) << "byte size " << model.byteSize;
        }
    }
}

TEST_F(StringTest, InsertMakesRoomByCuttingTheTailAndThenTheSource)
{
    typedef std::tuple<unsigned int, const char*, unsigned int, const char*, const char*, int> Row;
    static const Row CASES[] = {
        {6, "ab", 1, "cde", "acdeb", 0}, {4, "abc", 0, "zz", "zza", 1},    {5, "aé", 0, "zz", "zza", 1},
        {4, "abc", 3, "z", "abc", 1},    {2, "x", 0, "é", "", 1},          {4, "ab", 4, "z", "ab", -1},
        {4, "abc", 4, "", "abc", -1},    {4, "abc", 3, nullptr, "abc", 0}, {1, "", 0, "z", "", 1}};
    for (const auto& [size, given, index, source, expected, code] : CASES) {
        GuardedString text(size, given);
        EXPECT_EQ(text.string.insert(index, source), code) << expected;
        EXPECT_STREQ(text.string.getData(), expected);
        EXPECT_TRUE(text.isIntact());
    }
    FixedString<32> fixed;
    EXPECT_EQ(fixed.assign("012345678901234567890123456789é"), ReadableString::RC_NO_SPACE);
    EXPECT_EQ(fixed.getByteLength(), 30u);
    EXPECT_EQ(fixed.insert(30, "ézzz"), ReadableString::RC_NO_SPACE);
    EXPECT_EQ(fixed.getByteLength(), 30u);
    EXPECT_EQ(fixed.insert(30, "zzzzz"), ReadableString::RC_NO_SPACE);
    EXPECT_EQ(fixed.getByteLength(), 31u);
}

TEST_F(StringTest, WithoutStorageNothingFits)
{
    DynamicString text;
    EXPECT_EQ(text.assign(""), ReadableString::RC_NO_SPACE);
    EXPECT_EQ(text.insert(7, ""), ReadableString::RC_NO_SPACE);
    EXPECT_EQ(text.erase(0, 0), ReadableString::RC_INVALID_INDEX);
    EXPECT_EQ(text.assignFormat("a"), ReadableString::RC_NO_SPACE);
    EXPECT_EQ(text.insertFormat(0, "a"), ReadableString::RC_INVALID_INDEX);
    EXPECT_EQ(text.appendFormat("a"), ReadableString::RC_NO_SPACE);
    text.trim();
    EXPECT_TRUE(text == "" && text == nullptr && text.getData() == nullptr && text.getLength() == 0);
    EXPECT_EQ(text.findAndReplace("a", "b"), -1);
}

TEST_F(StringTest, TrimsBothEnds)
{
    static const char* const CASES[][2] = {{" \t\r\n\v\f", ""}, {"", ""}, {" a b ", "a b"}, {"\xC2\xA0z", "\xC2\xA0z"}};
    for (const auto& row : CASES) {
        GuardedString text(7, row[0]);
        text.string.trim();
        EXPECT_STREQ(text.string.getData(), row[1]);
        EXPECT_TRUE(text.isIntact());
    }
}

TEST_F(StringTest, FormattingIsCutBetweenCharacters)
{
    typedef std::tuple<unsigned int, const char*, const char*, int> Row;
    static const Row CASES[] = {{5, "abcd", "abcd", 0}, {5, "abcde", "abcd", 1}, {4, "abé", "ab", 1},
                                {5, "abéz", "abé", 1},  {5, "ab€", "ab", 1},     {5, "a😀", "a", 1},
                                {3, "😀", "", 1},        {1, "a", "", 1},         {4, "\x80\x80\x80\x80", "", 1}};
    for (const auto& [size, given, expected, code] : CASES) {
        GuardedString text(size, "");
        EXPECT_EQ(text.string.assignFormat("%s", given), code) << given;
        EXPECT_STREQ(text.string.getData(), expected);
        EXPECT_TRUE(text.isIntact());
    }
}

TEST_F(StringTest, InsertedFormatsAreRefusedOrCutOrTaken)
{
    typedef std::tuple<int, int, unsigned int> Row;
    static const Row CASES[] = {{25, 0, 31}, {26, 1, 31}, {28, 1, 31}, {29, 1, 6}}; // 25 bytes are free
    for (const auto& [width, code, byteLength] : CASES) {
        FixedString<32> text;
        text.assign("ééé");
        EXPECT_EQ(text.appendFormat("%*d", width, 7), code) << width;
        EXPECT_EQ(text.getByteLength(), byteLength);
    }
    FixedString<8> text;
    EXPECT_EQ(text.insertFormat(8, "a"), ReadableString::RC_INVALID_INDEX);
    EXPECT_EQ(text.insertFormat(1, "a"), ReadableString::RC_INVALID_INDEX);
    text.assign("1234567");
    EXPECT_EQ(text.appendFormat("x"), ReadableString::RC_NO_SPACE);
    EXPECT_EQ(text.insertFormat(3, "%d", 9), ReadableString::RC_NO_SPACE);
    EXPECT_STREQ(text.getData(), "1239456");
}

TEST_F(StringTest, FindTakesBytesAndGivesCharacters)
{
    const ReadableString text("éabéab");
    EXPECT_EQ(text.find("ab", 0), 1);
    EXPECT_EQ(text.find("ab", 3), 4);
    EXPECT_EQ(text.find("", 2), 1);
    EXPECT_EQ(text.find("\xA9", 0), -1); // no character boundary
    EXPECT_EQ(text.find("", 8), -1);
    EXPECT_EQ(ReadableString(nullptr).find("", 0), -1);
    EXPECT_FALSE(text == "éabéa");
}

TEST_F(StringTest, SubstrIntoBytesTakesTheFirstCharactersLength)
{
    typedef std::tuple<const char*, size_t, size_t, size_t, const char*> Row;
    static const Row CASES[] = {{"abcdef", 9, 2, 3, "cde######"},
                                {"abc", 9, 1, 8, "bc"},
                                {"ézéz", 9, 0, 2, "éz\xC3"},
                                {"ééé", 4, 0, 3, "éé######"}, // filled to the byte: no terminator
                                {"éééé", 5, 0, 4, "éé"},
                                {"é", 9, 1, 1, ""},
                                {"abc", 3, 1, 0, ""},
                                {"", 2, 0, 1, ""}};
    for (const auto& [text, destSize, pos, length, expected] : CASES) {
        SCOPED_TRACE(expected);
        char dest[11] = "##########";
        EXPECT_EQ(ReadableString(text).substr(dest, destSize, pos, length), dest);
        EXPECT_EQ(strncmp(dest, expected, strcspn(expected, "#") + (strchr(expected, '#') == nullptr)), 0);
        EXPECT_EQ(dest[destSize], '#');
    }
    char dest[2];
    EXPECT_EQ(ReadableString(nullptr).substr(dest, 2, 0, 1), nullptr);
    EXPECT_EQ(ReadableString("a").substr(static_cast<char*>(nullptr), 2, 0, 1), nullptr);
}

TEST_F(StringTest, SubstrIntoAStringGoesOnOnlyWhenItFillsTheRoom)
{
    typedef std::tuple<const char*, size_t, size_t, int, const char*> Row;
    static const Row CASES[] = {// 4 bytes are free
                                {"abcdefgh", 1, 3, 0, "xyz"},   {"abcdefgh", 1, 4, 1, "xyzbcde"},
                                {"abcdefgh", 5, 0, 0, "xyz"},   {"abcdefgh", 4, 0, 1, "xyz"},
                                {"abcdefgh", 6, 4, 1, "xyzgh"}, {"abcdefgh", 8, 4, 0, "xyz"},
                                {"abcd", 0, 4, 0, "xyz"},       {"abéé", 1, 4, 1, "xyzbé\xC3"}};
    for (const auto& [text, pos, length, result, expected] : CASES) {
        GuardedString dest(8, "xyz");
        EXPECT_EQ(ReadableString(text).substr(&dest.string, pos, length), result) << pos << " " << length;
        EXPECT_STREQ(dest.string.getData(), expected);
        EXPECT_TRUE(dest.isIntact());
    }
    static const std::tuple<const char*, size_t, size_t, int, const char*> GROWING[] = {
        {"abcd", 0, 4, 1, "xyzabcd"}, {"abcd", 0, 5, 0, "xyz"},   {"abcd", 1, 4, 0, "xyz"},
        {"abcd", 4, 1, 0, "xyz"},     {"abcd", 2, 3, 1, "xyzcd"}, {"abcd", 1, 0, 1, "xyz"}};
    for (const auto& [text, pos, length, result, expected] : GROWING) {
        DynamicString dest("xyz", 3);
        EXPECT_EQ(ReadableString(text).substr(&dest, pos, length), result) << pos << " " << length;
        EXPECT_STREQ(dest.getData(), expected);
    }
}

TEST(StringDeathTest, MisuseOfSubstrStops)
{
    const ReadableString text("abcdef");
    char dest[8];
    FixedString<4> fixed;
    EXPECT_DEATH(text.substr(dest, 6, 0, 0), "ReadableString.cpp.*Assertion `destSize > byteLength - pos' failed");
    EXPECT_DEATH(text.substr(dest, 3, 0, 3), "Assertion `destSize > length' failed");
    EXPECT_DEATH(text.substr(dest, 8, 6, 1), "Assertion `pos < byteLength' failed");
    EXPECT_DEATH(text.substr(&fixed, 0, 4), "RC_OK == dest->append\\(_data\\[currPos\\+\\+\\]\\)");
}

TEST_F(StringTest, StoreSubstringChecksInItsOrder)
{
    const ReadableString text("aé€d");
    FixedString<6> fixed;
    fixed.assign("old");
    EXPECT_EQ(ReadableString(nullptr).storeSubstring(nullptr, 0, 9), ReadableString::RC_INVALID_INDEX);
    EXPECT_EQ(text.storeSubstring(nullptr, 4, 9), ReadableString::RC_INVALID_INDEX);
    EXPECT_EQ(text.storeSubstring(nullptr, 1, 4), ReadableString::RC_OUT_OF_RANGE);
    EXPECT_EQ(text.storeSubstring(nullptr, 1, UINT_MAX), ReadableString::RC_OUT_OF_RANGE);
    EXPECT_EQ(text.storeSubstring(nullptr, 1, 3), ReadableString::RC_NO_SPACE);
    expectFailedCheck(Ostrel::Severity::FATAL, "WeakPtr", 37, "m_ptr");
    EXPECT_EQ(text.storeSubstring(fixed, 0, 3), ReadableString::RC_OUT_OF_RANGE); // one byte too much
    EXPECT_STREQ(fixed.getData(), "old");
    EXPECT_EQ(text.storeSubstring(fixed, 1, 2), ReadableString::RC_OK);
    EXPECT_STREQ(fixed.getData(), "é€");
    DynamicString dynamic("abc", 3);
    EXPECT_EQ(text.storeSubstring(dynamic, 1, 0), ReadableString::RC_OK);
    EXPECT_STREQ(dynamic.getData(), "é€d");
    EXPECT_EQ(dynamic.getByteSize(), 4u + 6 + 2);
    EXPECT_STREQ(text.substring(2, 1)->getData(), "€");
    EXPECT_EQ(text.substring(9, 1)->getByteSize(), 0u);
}

TEST_F(StringTest, DynamicSizesAreExact)
{
    DynamicString text("aéz", 4);
    EXPECT_EQ(text.getByteSize(), 5u);
    EXPECT_EQ(text.ensureFreeBytes(0), ReadableString::RC_OK);
    EXPECT_EQ(text.getByteSize(), 5u);
    EXPECT_EQ(text.ensureFreeBytes(1), ReadableString::RC_OK);
    EXPECT_EQ(text.getByteSize(), 7u);
    EXPECT_EQ(text.setByteSize(3), ReadableString::RC_OK);
    EXPECT_STREQ(text.getData(), "a");
    EXPECT_EQ(text.growAndAppend("bcd"), ReadableString::RC_OK);
    EXPECT_EQ(text.getByteSize(), 7u);
    EXPECT_STREQ(text.getData(), "abcd");
    EXPECT_EQ(text.growAndAssign("1234567"), ReadableString::RC_OK);
    EXPECT_EQ(text.getByteSize(), 8u);
    EXPECT_EQ(text.growAndAssign(nullptr), ReadableString::RC_OK);
    EXPECT_EQ(text.getByteSize(), 8u);
    EXPECT_STREQ(text.getData(), "");
    EXPECT_EQ(text.setByteSize(0), ReadableString::RC_OK);
    EXPECT_EQ(text.getData(), nullptr);
    EXPECT_EQ(text.growAndAppend(nullptr), ReadableString::RC_OK);
    EXPECT_EQ(text.getByteSize(), 1u);
    EXPECT_STREQ(DynamicString("abcdef", 3).getData(), "abc");
    EXPECT_EQ(DynamicString("ab", 9).getByteSize(), 10u);
}

TEST_F(StringTest, CopiesAreDeep)
{
    DynamicString text("abc", 3);
    DynamicString copy(text);
    copy.erase(0, 1);
    EXPECT_STREQ(text.getData(), "abc");
    text = copy;
    copy.erase(0, 1);
    EXPECT_STREQ(text.getData(), "bc");
    EXPECT_EQ(DynamicString(ReadableString(nullptr)).getByteSize(), 1u);
}

TEST_F(StringTest, OversizeTextsAreReportedAndLeaveAllAsItWas)
{
    const auto expectTooLarge = [this](size_t size) {
        const std::string number = std::to_string(static_cast<ptrdiff_t>(size)); // signed: -1 where size_t has 32 bits
        expectReport(Ostrel::Severity::FATAL, "DynamicString", 0,
                     ("'Requested string is far too large:  " + number + "\n'").c_str());
    };
    DynamicString text;
    EXPECT_EQ(text.setByteSize(262144), ReadableString::RC_OK);
    text.assign("abc");
    EXPECT_EQ(text.setByteSize(262145), ReadableString::RC_NO_SPACE);
    expectTooLarge(262145u);
    EXPECT_EQ(text.ensureFreeBytes(0xFFFFFFF0), ReadableString::RC_NO_SPACE); // the sum would wrap to a small one
    expectTooLarge(4294967295u);
    EXPECT_STREQ(text.getData(), "abc");

    const std::string large(262144, 'x');
    const DynamicString copy{ReadableString(large.c_str())};
    expectTooLarge(262145u);
    expectFailedCheck(Ostrel::Severity::FATAL, "DynamicString", 45, "RC_OK == growAndAssign(orig)");
    EXPECT_EQ(copy.getData(), nullptr);
    const DynamicString huge("abc", UINT_MAX);
    expectTooLarge(4294967295u);
    expectFailedCheck(Ostrel::Severity::FATAL, "DynamicString", 0, "RC_OK == setByteSize(len + 1)");
    EXPECT_EQ(huge.getData(), nullptr);

    text.setByteSize(262144 - 5);
    EXPECT_EQ(text.growAndAppend(large.c_str()), ReadableString::RC_NO_SPACE);
    expectTooLarge(524284u);
    EXPECT_EQ(text.getByteLength(), 262144u - 6); // what fits is appended all the same
}

TEST_F(StringTest, ReplacesWithBytesAsCharacters)
{
    static const char* const CASES[][4] = {
        {"aaa", "a", "bb", "bbbbbb"}, {"xéyéz", "é", "e", "xee"},   {"aXbXcXd", "X", "éé", "aéébXcééd"},
        {"abab", "ab", "", ""},       {"abc", "", "x", "abc"},      {"abc", nullptr, "x", "abc"},
        {"abc", "b", nullptr, "abc"}, {"\x80", "\x80", "", "\x80"}, {"aXbX", "X", "XX", "aXXbXX"}};
    for (const auto& row : CASES) {
        DynamicString text{ReadableString(row[0])};
        EXPECT_EQ(text.findAndReplace(row[1], row[2]), -1);
        EXPECT_STREQ(text.getData(), row[3]);
    }
}

TEST_F(StringTest, ExhaustedMemoryIsACode)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        DynamicString text("abc", 3);
        faults.arm();
        const int assigned = text.growAndAssign("defgh");
        const int appended = text.growAndAppend("ij");
        const int inserted = text.insertFormat(1, "%d", 7);
        faults.disarm();
        const bool done = assigned == 0 && appended == 0 && inserted == 0;
        EXPECT_EQ(*text.getData(), assigned == 0 ? 'd' : 'a');
        EXPECT_EQ(done, text == "d7efghij") << text.getData();
        return done;
    });
    AllocationFaults faults(AllocationFaults::FAIL_ONE, 0); // the report itself takes memory
    faults.arm();
    const DynamicString copy{ReadableString("abc")};
    faults.disarm();
    EXPECT_EQ(copy.getData(), nullptr);
    expectFailedCheck(Ostrel::Severity::FATAL, "DynamicString", 45, "RC_OK == growAndAssign(orig)");
}
