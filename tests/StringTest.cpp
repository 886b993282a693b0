#include "ostrel/DynamicString.h"

#include <random>
#include <string>

#include "ostrel/FixedString.h"
#include "ostrel/StringUtils.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel;

namespace {

const auto RC_OK = ReadableString::RC_OK;
const auto RC_INVALID_INDEX = ReadableString::RC_INVALID_INDEX;
const auto RC_NO_SPACE = ReadableString::RC_NO_SPACE;
const auto RC_OUT_OF_RANGE = ReadableString::RC_OUT_OF_RANGE;

// Through any other class, owners would come to share a storage and free it twice.
static_assert(!std::is_assignable_v<ReadableString&, ReadableString> && std::is_copy_assignable_v<DynamicString>, "");

/// A string whose storage has guard bytes on both sides.
struct GuardedString : GuardedBuffer
{
    explicit GuardedString(unsigned int byteSize)
        : GuardedBuffer(byteSize), string(static_cast<char*>(memset(data(), 0, byteSize)), byteSize)
    {}
    WritableString string;
};

/// What a valid text should be after an edit: the whole result, cut to the storage between two characters.
struct Model
{
    size_t byteSize;
    std::string text = "";

    static bool isLead(char c) { return (c & 0xC0) != 0x80; }

    size_t getOffset(uint64_t index) const
    {
        size_t offset = 0;
        while (index > 0 && offset < text.size())
            index -= isLead(text[++offset]) ? 1 : 0;
        return index == 0 ? offset : std::string::npos;
    }
    int insert(unsigned int index, const std::string& source)
    {
        const size_t offset = getOffset(index);
        if (byteSize == 0 || offset > text.size())
            return byteSize == 0 ? RC_NO_SPACE : RC_INVALID_INDEX;
        text.insert(offset, source);
        size_t kept = std::min(text.size(), byteSize - 1);
        while (!isLead(text[kept]))
            --kept;
        const bool fits = kept == text.size();
        text.resize(kept);
        return fits ? RC_OK : RC_NO_SPACE;
    }
    int insertFormatted(unsigned int index, const std::string& source)
    {
        if (index >= byteSize)
            return RC_INVALID_INDEX;
        return source.size() < byteSize - index ? insert(index, source) : RC_NO_SPACE;
    }
    int erase(unsigned int index, unsigned int count)
    {
        const size_t begin = getOffset(index);
        if (begin >= text.size())
            return RC_INVALID_INDEX;
        text.erase(begin, getOffset(uint64_t(index) + count) - begin);
        return RC_OK;
    }
    int replace(const std::string& source)
    {
        text.clear();
        return insert(0, source);
    }
    void trim()
    {
        text.erase(text.find_last_not_of(" \t\n\v\f\r") + 1);
        text.erase(0, text.find_first_not_of(" \t\n\v\f\r"));
    }
};

} // namespace

using StringTest = ReportTest;

TEST_F(StringTest, RandomEditsMatchTheModelInsideTheStorage)
{
    static const char* const CHARACTERS[] = {"a", "B", " ", "\t", "é", "€", "😀", "é"};
    std::mt19937 random(1);
    for (unsigned int round = 0; round < 1000; ++round) {
        Model model = {round % 34};
        GuardedString guarded(round % 34);
        WritableString& text = guarded.string;
        unsigned int index = 0;
        unsigned int count = 0;
        std::string source;
        const std::function<bool()> EDITS[] = {
            [&] { return text.insert(index, source.c_str()) == model.insert(index, source); },
            [&] { return text.erase(index, count) == model.erase(index, count); },
            [&] { return text.assign(source.c_str()) == model.replace(source); },
            [&] { return text.assignFormat("%s", source.c_str()) == model.replace(source); },
            [&] { return text.insertFormat(index, "%s", source.c_str()) == model.insertFormatted(index, source); },
            [&] { // an index that reaches the byte size counts as no space here
                const int code = abs(model.insertFormatted(text.getLength(), source));
                return text.appendFormat("%s", source.c_str()) == code;
            },
            [&] {
                text.trim();
                model.trim();
                return true;
            }};
        for (unsigned int step = 0; step < 30; ++step) {
            source.clear();
            for (size_t i = random() % 8; i > 0; --i)
                source += CHARACTERS[random() % 8];
            index = random() % 10 == 0 ? UINT_MAX : random() % (text.getLength() + 2);
            count = random() % 10 == 0 ? UINT_MAX : random() % 5;
            const unsigned int edit = random() % 7;
            ASSERT_TRUE(EDITS[edit]() && text == model.text.c_str() && guarded.areGuardsIntact())
                << "edit " << edit << ", byte size " << model.byteSize << ": " << model.text;
        }
    }
}

TEST_F(StringTest, TextsThatReachTheStoragesEndAreEditedInside)
{
    typedef WritableString Text; // over four bytes, with the terminator behind them
    const std::tuple<const char*, std::function<int(Text&)>, int, const char*> CASES[] = {
        {"abcd", [](Text& text) { return text.insert(4, "xy"); }, RC_NO_SPACE, "abcd"},
        {"abcd", [](Text& text) { return text.insert(3, "xy"); }, RC_NO_SPACE, "abcd"},
        {"abcd", [](Text& text) { return text.insert(1, "xy"); }, RC_NO_SPACE, "axy"},
        {"€d", [](Text& text) { return text.appendFormat("x"); }, RC_NO_SPACE, "€d"},
        {"abcd", [](Text& text) { return ReadableString("xyz").substr(&text, 1, 2); }, false, "abcd"},
        {"abcdef", [](Text& text) { return text.insert(6, "xy"); }, RC_NO_SPACE, "abcdef"},
        {"abcdef", [](Text& text) { return text.erase(1, 4); }, RC_OK, "a"},
        {"abcdef", [](Text& text) { return text.erase(5, 1); }, RC_INVALID_INDEX, "abcdef"}};
    for (const auto& [given, edit, code, expected] : CASES) {
        char block[16];
        Text text(strcpy(block, given), 4);
        EXPECT_EQ(edit(text), code) << given << ", " << expected;
        EXPECT_STREQ(block, expected);
        EXPECT_STREQ(block + 4, given + 4) << expected;
    }
    char block[] = " abcde";
    Text(block, 4).trim();
    EXPECT_EQ(std::string(block, 7), std::string("abc\0de", 7));
}

TEST_F(StringTest, NullAndOddTextsAreSafe)
{
    DynamicString none;
    EXPECT_TRUE(none == "" && none == nullptr && none != "a" && none.getLength() == 0);
    EXPECT_EQ(none.find("a", 0), -1);
    char bytes[4];
    EXPECT_TRUE(none.substr(bytes, sizeof(bytes), 0, 1) == nullptr && none.substr(&none, 0, 1) == 0);
    EXPECT_EQ(none.substr(static_cast<WritableString*>(nullptr), 0, 1), 0);
    EXPECT_EQ(none.insert(0, nullptr), RC_NO_SPACE);
    FixedString<5> text;
    EXPECT_TRUE(text.assign(nullptr) == RC_OK && text.insert(0, nullptr) == RC_OK);
    EXPECT_EQ(text.assignFormat("\x80\x80\x80\x80\x80"), RC_NO_SPACE);
    EXPECT_TRUE(text == "");
    EXPECT_EQ(text.assignFormat("ab%lc", wint_t(0x20AC)), RC_NO_SPACE); // fails without a locale
    EXPECT_STREQ(text.getData(), "");
}

TEST_F(StringTest, FindTakesBytesAndGivesCharacters)
{
    const std::tuple<const char*, unsigned int, int> CASES[] = {
        {"ab", 0, 1}, {"ab", 3, 4}, {"", 2, 1}, {nullptr, 2, 1}, {"\xA9", 0, -1}, {"", 8, -1}, {"b", 9, -1}};
    for (const auto& [pattern, startByte, expected] : CASES)
        EXPECT_EQ(ReadableString("éabéab").find(pattern, startByte), expected) << startByte;
    EXPECT_EQ(ReadableString(nullptr).find("", 0), -1);
}

TEST_F(StringTest, SubstrIntoBytesTakesTheFirstCharactersLength)
{
    // A dot stands for the terminator. The fourth row fills its room to the byte and has none.
    const std::tuple<const char*, size_t, size_t, size_t, const char*> CASES[] = {
        {"abcdef", 9, 2, 3, "cde.######"}, {"abc", 9, 1, 8, "bc.#######"}, {"ézéz", 9, 0, 2, "éz\xC3.#####"},
        {"ééé", 4, 0, 3, "éé######"},      {"éééé", 5, 0, 4, "éé.#####"},  {"é", 9, 1, 1, ".#########"},
        {"abc", 3, 1, 0, ".#########"},    {"abc", 4, 0, 0, ".#########"}, {"", 2, 0, 1, ".#########"}};
    for (const auto& [text, destSize, pos, length, expected] : CASES) {
        char dest[11] = "##########";
        EXPECT_EQ(ReadableString(text).substr(dest, destSize, pos, length), dest);
        std::replace(dest, dest + 10, '\0', '.');
        EXPECT_STREQ(dest, expected);
    }
    char dest[2];
    EXPECT_EQ(ReadableString(nullptr).substr(dest, 2, 0, 1), nullptr);
    EXPECT_EQ(ReadableString("a").substr(static_cast<char*>(nullptr), 2, 0, 1), nullptr);
}

TEST_F(StringTest, SubstrIntoAStringGoesOnOnlyWhenItFillsTheRoom)
{
    // Into "xyz" with 4 bytes free, and into one that grows; null where it is refused.
    const std::tuple<const char*, size_t, size_t, const char*, const char*> CASES[] = {
        {"abcdefgh", 1, 3, nullptr, "xyzbcd"}, {"abcdefgh", 1, 4, "xyzbcde", "xyzbcde"},
        {"abcdefgh", 5, 0, nullptr, "xyz"},    {"abcdefgh", 4, 0, "xyz", "xyz"},
        {"abcdefgh", 6, 4, "xyzgh", "xyzgh"},  {"abcdefgh", 8, 4, nullptr, nullptr},
        {"abcd", 0, 4, nullptr, "xyzabcd"},    {"abcd", 0, 5, nullptr, nullptr},
        {"abcd", 1, 4, nullptr, nullptr},      {"abéé", 1, 4, "xyzbé\xC3", "xyzbé\xC3"}};
    for (const auto& [text, pos, length, fixed, grown] : CASES) {
        GuardedString dest(8);
        dest.string.assign("xyz");
        EXPECT_EQ(ReadableString(text).substr(&dest.string, pos, length), fixed != nullptr) << pos << " " << length;
        EXPECT_STREQ(dest.string.getData(), fixed == nullptr ? "xyz" : fixed);
        EXPECT_TRUE(dest.areGuardsIntact());
        DynamicString growing("xyz", 3);
        EXPECT_EQ(ReadableString(text).substr(&growing, pos, length), grown != nullptr) << pos << " " << length;
        EXPECT_STREQ(growing.getData(), grown == nullptr ? "xyz" : grown);
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
    DynamicString dynamic("abc", 3);
    const std::tuple<WritableString*, unsigned int, unsigned int, int, const char*> CASES[] = {
        {nullptr, 4, 9, RC_INVALID_INDEX, ""},
        {nullptr, 1, 4, RC_OUT_OF_RANGE, ""},
        {nullptr, 1, UINT_MAX, RC_OUT_OF_RANGE, ""},
        {&fixed, 1, 2, RC_OK, "é€"},
        {&fixed, 0, 3, RC_OUT_OF_RANGE, "é€"},
        {&fixed, 4, 0, RC_INVALID_INDEX, "é€"},
        {&dynamic, 1, 0, RC_OK, "é€d"}};
    for (const auto& [dest, index, count, code, expected] : CASES) {
        EXPECT_EQ(text.storeSubstring(dest, index, count), code) << index << " " << count;
        EXPECT_TRUE(dest == nullptr || *dest == expected) << index << " " << count;
    }
    EXPECT_EQ(dynamic.getByteSize(), 4u + 6 + 2);
    EXPECT_EQ(ReadableString(nullptr).storeSubstring(nullptr, 0, 9), RC_INVALID_INDEX);
    EXPECT_EQ(text.storeSubstring(nullptr, 1, 3), RC_NO_SPACE);
    expectFailedCheck(Severity::FATAL, "WeakPtr", 37, "m_ptr");
    EXPECT_TRUE(*text.substring(2, 1) == "€" && text.substring(9, 1)->getByteSize() == 0);
}

TEST_F(StringTest, DynamicSizesAreExact)
{
    DynamicString text("aéz", 4);
    const auto expectDone = [&text](int code, unsigned int byteSize, const char* expected) {
        EXPECT_EQ(code, RC_OK);
        EXPECT_EQ(text.getByteSize(), byteSize);
        EXPECT_STREQ(text.getData(), expected);
    };
    expectDone(text.ensureFreeBytes(0), 5, "aéz");
    expectDone(text.ensureFreeBytes(1), 7, "aéz");
    expectDone(text.setByteSize(3), 3, "a");
    expectDone(text.growAndAppend("bcd"), 7, "abcd");
    expectDone(text.growAndAssign("1234567"), 8, "1234567");
    expectDone(text.growAndAssign("éé"), 8, "éé");
    expectDone(text.growAndAssign(nullptr), 8, "");
    expectDone(text.setByteSize(0), 0, nullptr);
    expectDone(text.growAndAppend(nullptr), 1, "");
    expectDone(text.setByteSize(8), 8, "");
    EXPECT_EQ(memcmp(text.getData(), "\0\0\0\0\0\0\0", 8), 0);

    EXPECT_EQ(DynamicString("ab", 9).getByteSize(), 10u);
    EXPECT_EQ(DynamicString(ReadableString(nullptr)).getByteSize(), 1u);
    DynamicString copy("abcdef", 3);
    text = DynamicString(copy);
    copy.erase(0, 1);
    EXPECT_STREQ(text.getData(), "abc");
}

TEST_F(StringTest, OversizeTextsAreReportedAndLeaveAllAsItWas)
{
    const auto expectTooLarge = [this](unsigned int size) {
        // Signed: -1 where size_t has 32 bits.
        const std::string number = std::to_string(static_cast<ptrdiff_t>(size_t{size}));
        expectReport(Severity::FATAL, "DynamicString", 0,
                     ("'Requested string is far too large:  " + number + "\n'").c_str());
    };
    DynamicString text("abc", 262143);
    EXPECT_EQ(text.setByteSize(262145), RC_NO_SPACE);
    expectTooLarge(262145u);
    EXPECT_EQ(text.ensureFreeBytes(UINT_MAX), RC_NO_SPACE); // the sum would wrap to a small one
    expectTooLarge(4294967295u);
    EXPECT_STREQ(text.getData(), "abc");
    const std::string large(262144, 'x');
    const DynamicString copy{ReadableString(large.c_str())};
    expectTooLarge(262145u);
    expectFailedCheck(Severity::FATAL, "DynamicString", 45, "RC_OK == growAndAssign(orig)");
    const DynamicString huge("abc", UINT_MAX);
    expectTooLarge(4294967295u);
    expectFailedCheck(Severity::FATAL, "DynamicString", 0, "RC_OK == setByteSize(len + 1)");
    EXPECT_TRUE(copy.getData() == nullptr && huge.getData() == nullptr);

    text.setByteSize(262144 - 5);
    EXPECT_EQ(text.growAndAppend(large.c_str()), RC_NO_SPACE);
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

TEST_F(StringTest, ReplacingAllIsReplacingOneAfterTheOther)
{
    static const char* const PIECES[] = {"a", "b", "ab", "é", "\x80", "bba"};
    std::mt19937 random(1);
    const auto pick = [&random](unsigned int most) {
        std::string text;
        for (unsigned int left = random() % (most + 1); left > 0; --left)
            text += PIECES[random() % (random() % 4 == 0 ? 6 : 3)];
        return text;
    };
    for (int round = 0; round < 3000; ++round) {
        const std::string text = pick(12), pattern = "b" + pick(1), replacement = pick(2);
        DynamicString expected(ReadableString(text.c_str()));
        expected.setByteSize(static_cast<unsigned int>(text.size() + 1 + random() % 20));
        DynamicString changed;
        changed.setByteSize(expected.getByteSize());
        changed.assign(expected);
        const unsigned int bytes = static_cast<unsigned int>(replacement.size());
        for (int pos = expected.find(pattern.c_str(), 0); pos >= 0;) {
            const unsigned int index = static_cast<unsigned int>(pos);
            if (expected.erase(index, static_cast<unsigned int>(pattern.size())) != 0 && bytes == 0)
                break;
            expected.ensureFreeBytes(bytes);
            expected.insert(index, replacement.c_str());
            const int next = Ostrel::convertCharToByteOffset(index + bytes, expected.getData());
            pos = next < 0 ? -1 : expected.find(pattern.c_str(), static_cast<unsigned int>(next));
        }
        changed.findAndReplace(pattern.c_str(), replacement.c_str());
        ASSERT_STREQ(changed.getData(), expected.getData()) << text << ' ' << pattern << ' ' << replacement;
        ASSERT_EQ(changed.getByteSize(), expected.getByteSize()) << text << ' ' << pattern << ' ' << replacement;
    }
}

TEST_F(StringTest, ExhaustedMemoryIsACode)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        DynamicString text("abc", 3);
        const int assigned = faults.during([&] { return text.growAndAssign("defgh"); });
        const bool done =
            faults.during([&] { return assigned + text.growAndAppend("ij") + text.insertFormat(1, "%d", 7) == 0; });
        EXPECT_EQ(*text.getData(), assigned == 0 ? 'd' : 'a');
        EXPECT_EQ(done, text == "d7efghij") << text.getData();
        EXPECT_EQ(faults.again([&] { return text.growAndAssign("0123456789") + text.growAndAppend("x"); }), 0);
        return done;
    });
}
