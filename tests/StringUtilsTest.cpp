#include "ostrel/StringUtils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "ostrel/CaseFolding.h"

using namespace Ostrel;

namespace {

/// A copy in a heap block of exactly its size, so that the address sanitizer sees each byte read too many.
class Exact
{
public:
    explicit Exact(const std::string& text) : _block(new char[text.size() + 1])
    {
        memcpy(_block.get(), text.c_str(), text.size() + 1);
    }
    operator const char*() const { return _block.get(); } // NOLINT(google-explicit-constructor)

private:
    std::unique_ptr<char[]> _block;
};

std::string encode(unsigned int codePoint)
{
    char bytes[4];
    const int length = convertUnicodeToUtf8(bytes, codePoint, sizeof(bytes));
    return std::string(bytes, static_cast<size_t>(length));
}

/// Units in host order, with the ending unit 0.
std::vector<unsigned char> makeUtf16(const std::vector<uint16_t>& units)
{
    std::vector<unsigned char> bytes(2 * units.size() + 2);
    for (size_t i = 0; i < units.size(); ++i)
        memcpy(&bytes[2 * i], &units[i], 2);
    return bytes;
}

/// Bytes that make both valid characters and every kind of broken one.
std::string makeRandomText(std::mt19937& random, unsigned int maxLength)
{
    static const unsigned char BYTES[] = {'a', 'Z', '9', 0x80, 0xA9, 0xBF, 0xC3, 0xE2, 0xF0, 0xF8, 0xFC, 0xFF};
    std::string text(random() % (maxLength + 1), '\0');
    for (char& c : text)
        c = static_cast<char>(BYTES[random() % sizeof(BYTES)]);
    return text;
}

std::string makeValidText(std::mt19937& random, unsigned int characters)
{
    static const unsigned int CODE_POINTS[] = {'a', 'Q', 0xE9, 0x416, 0x20AC, 0x4E2D, 0x1F600};
    std::string text;
    for (unsigned int i = 0; i < characters; ++i)
        text += encode(CODE_POINTS[random() % 7]);
    return text;
}

bool isLead(char c)
{
    return (c & 0xC0) != 0x80;
}

} // namespace

TEST(StringUtilsTest, OffsetsAndCountsFollowTheLeads)
{
    std::mt19937 random(1);
    for (unsigned int round = 0; round < 400; ++round) {
        const unsigned int characters = round % 100;
        const std::string valid = makeValidText(random, characters);
        const Exact text(valid);
        SCOPED_TRACE(valid);
        EXPECT_EQ(getUtf8Length(text), characters);
        EXPECT_EQ(Utf8CharCount(text), static_cast<int>(characters));
        unsigned int index = 0;
        for (unsigned int offset = 0; offset <= valid.size(); ++offset) {
            const bool boundary = isLead(valid.c_str()[offset]);
            const int expected = boundary && (offset == 0 || !valid.empty()) ? static_cast<int>(index) : -1;
            EXPECT_EQ(convertByteToCharOffset(offset, text), expected);
            if (!boundary)
                continue;
            EXPECT_EQ(convertCharToByteOffset(index, text), static_cast<int>(offset));
            ++index;
        }
        EXPECT_EQ(convertCharToByteOffset(characters + 1, text), -1);
        EXPECT_EQ(convertByteToCharOffset(static_cast<unsigned int>(valid.size()) + 1, text), -1);
    }
}

TEST(StringUtilsTest, CountsLongTextsByWords)
{
    // More words than one byte of a word can count, at every alignment.
    std::string text;
    for (int i = 0; i < 5000; ++i)
        text += "中";
    for (size_t start = 0; start < 9; ++start)
        EXPECT_EQ(getUtf8Length(text.c_str() + start), 5000 - (start + 2) / 3);
}

TEST(StringUtilsTest, StepsOverWhatIsNoLead)
{
    const Exact text("a\x80é");
    const char* p = text;
    EXPECT_EQ(getNextChar(p), p + 2);
    EXPECT_EQ(getNextChar(p + 2), nullptr);
    EXPECT_EQ(getPreviousChar(p + 4, p), p + 2);
    EXPECT_EQ(getPreviousChar(p + 2, p + 1), nullptr);
    EXPECT_EQ(getPreviousChar(p, p), nullptr);
    EXPECT_EQ(Utf8CharCount("a\x80"), -1);
    EXPECT_EQ(Utf8CharCount(Exact("ab\xF0\x9F")), 3);
    static const int LENGTHS[][2] = {{0x7F, 1}, {0x80, -1}, {0xBF, -1}, {0xC0, 2},
                                     {0xF7, 4}, {0xFB, 5},  {0xFE, 7},  {0xFF, 8}};
    for (const int* row : LENGTHS)
        EXPECT_EQ(Utf8CharLen(static_cast<char>(row[0])), row[1]) << row[0];
}

TEST(StringUtilsDeathTest, SteppingFromNullStops)
{
    EXPECT_DEATH(getNextChar(nullptr), "StringUtils.cpp.*Assertion `str' failed");
    EXPECT_DEATH(getPreviousChar(nullptr, nullptr), "StringUtils.cpp.*Assertion `str' failed");
}

TEST(StringUtilsTest, TruncationKeepsTheMostWholeCharacters)
{
    std::mt19937 random(2);
    for (unsigned int round = 0; round < 300; ++round) {
        const std::string valid = makeValidText(random, round % 8);
        const Exact text(valid);
        for (unsigned int n = 0; n <= valid.size() + 3; ++n) {
            size_t kept = std::min<size_t>(n, valid.size());
            while (!isLead(valid.c_str()[kept]))
                --kept;
            const char* const end = calculateTruncationPoint(text, n);
            const bool nothingFits = n == 0 && !valid.empty() && (valid[0] & 0x80) != 0;
            EXPECT_EQ(end, nothingFits ? nullptr : text + kept) << valid << " " << n;
        }
    }
    EXPECT_EQ(calculateTruncationPoint(nullptr, 3), nullptr);
}

TEST(StringUtilsTest, CopiesWholeCharactersBelowTheLimits)
{
    typedef std::tuple<const char*, unsigned int, unsigned int, const char*> Row;
    static const Row CASES[] = {{"xyz", 9, 3, "xy"},   {"xyz", 9, 0, ""},         {"xéz", 9, 3, "x"},
                                {"xéz", 9, 4, "xé"},   {"xéz", 2, 9, "xé"},       {"\xC3xyz", 2, 9, "\xC3x"},
                                {"x\x80y", 9, 9, "x"}, {"xy\xE2\x82", 9, 9, "xy"}};
    for (const auto& [src, maxChars, maxBytes, expected] : CASES) {
        char dest[16] = "##########";
        EXPECT_EQ(Utf8strccpy(dest, Exact(src), maxChars, maxBytes), dest);
        EXPECT_STREQ(dest, expected);
    }
    char dest[4] = "##";
    Utf8strccpy(dest, nullptr, 1, 1);
    EXPECT_STREQ(Utf8strncpy(dest, nullptr, 3), "##");
}

TEST(StringUtilsTest, EncodesUpTo21BitsAndNeverBeyondTheRoom)
{
    typedef std::tuple<unsigned int, const char*> Row;
    static const Row CASES[] = {{0x7F, "\x7F"},
                                {0x80, "\xC2\x80"},
                                {0x7FF, "\xDF\xBF"},
                                {0x800, "\xE0\xA0\x80"},
                                {0xD83D, "\xED\xA0\xBD"},
                                {0xFFFF, "\xEF\xBF\xBF"},
                                {0x10000, "\xF0\x90\x80\x80"},
                                {0x1FFFFF, "\xF7\xBF\xBF\xBF"}};
    for (const auto& [codePoint, expected] : CASES) {
        const int length = static_cast<int>(strlen(expected));
        char dest[8] = "#######";
        EXPECT_EQ(convertUnicodeToUtf8(dest, codePoint, static_cast<unsigned int>(length) - 1), -1);
        EXPECT_EQ(convertUnicodeToUtf8(dest, codePoint, 4), length);
        EXPECT_EQ(std::string(dest), std::string(expected) + std::string(7 - strlen(expected), '#'));
        EXPECT_EQ(C_convertUtf8ToUnicode(dest), static_cast<int>(codePoint));
    }
    char dest[4];
    EXPECT_EQ(convertUnicodeToUtf8(dest, 0x200000, 4), -1);
    EXPECT_EQ(convertUtf8ToUnicode(Exact("\xE2")), 0x2000);
    EXPECT_EQ(convertUtf8ToUnicode(Exact("\xE2\x82")), 0x2080);
    EXPECT_EQ(convertUtf8ToUnicode("\x80"), -1);
    EXPECT_EQ(convertUtf8ToUnicode("\xF8\x88\x80\x80\x80"), -1);
}

TEST(StringUtilsTest, ConvertsUtf16)
{
    // All units have two bytes that are not 0, unless a row is about that: the end is seen in the first one in memory,
    // which is the other one on a big-endian host.
    typedef std::tuple<const char*, std::vector<uint16_t>, int, const char*> Row;
    static const Row CASES[] = {{"empty", {}, 0, ""},
                                {"three bytes each", {0x20AC, 0x4E2D}, 0, "€中"},
                                {"two bytes", {0x0416}, 0, "\xD0\x96"},
                                {"pair without 0x10000", {0xD83D, 0xDE01, 0x20AC}, 0, "\xEF\x98\x81€"},
                                {"low byte 0 in the second of a pair", {0xD83D, 0xDE00, 0x20AC}, 0, "\xEF\x98\x80€"},
                                {"well-formed and rejected", {0xDBFF, 0xDFFF}, -1, nullptr},
                                {"second one saves the pair", {0xDBFF, 0xDFFE}, 0, "\xF3\xBF\xBF\xBE"},
                                {"first one saves the pair", {0xDBFE, 0x0141}, 0, "\xF3\xBF\xA5\x81"},
                                {"low surrogate first", {0xDE01, 0x4E2D}, -1, nullptr},
                                {"lone one at the end", {0xD83D}, 0, "\xEF\x90\x80"},
                                {"lone rejected one at the end", {0xDBFF}, -1, nullptr}};
    for (const auto& [name, units, code, expected] : CASES) {
        SCOPED_TRACE(name);
        const std::vector<unsigned char> src = makeUtf16(units);
        char dest[16];
        EXPECT_EQ(convertUtf16ToUtf8(dest, src.data(), 15), code);
        if (code != 0)
            continue;
        EXPECT_STREQ(dest, expected);
        // Just enough room: the terminator lies one behind. One byte less fails and writes nothing there.
        const size_t length = strlen(expected);
        std::unique_ptr<char[]> exact(new char[length + 1]);
        EXPECT_EQ(convertUtf16ToUtf8(exact.get(), src.data(), static_cast<int>(length)), 0);
        EXPECT_STREQ(exact.get(), expected);
        EXPECT_EQ(convertUtf16ToUtf8(exact.get(), src.data(), static_cast<int>(length) - 1), -1);
    }
    char dest[4];
    EXPECT_EQ(convertUtf16ToUtf8(dest, makeUtf16({0x20AC}).data(), -1), -1);
    const unsigned char zeroFirst[] = {0, 0x41, 0x41, 0x41, 0, 0};
    EXPECT_EQ(convertUtf16ToUtf8(dest, zeroFirst, 3), 0);
    EXPECT_STREQ(dest, "");
}

TEST(StringUtilsTest, ConvertsUtf16ByLengthWithATrace)
{
    const std::vector<unsigned char> src = makeUtf16({0xD83D, 0xDE00, 0x0041, 0x0000, 0x20AC});
    char dest[16];
    testing::internal::CaptureStderr();
    EXPECT_EQ(convertUtf16ToUtf8Ex(src.data(), 10, dest, 15), 0);
    const std::string trace = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::string(dest, 9), std::string("😀A\0€", 9));
    EXPECT_EQ(trace, "Hi[0]:= d83d\nLo[2]:= de00\nunichar=0001F600\nHi[4]:= 41\nLo[6]:= 0\nunichar=00000041\n"
                     "Hi[6]:= 0\nLo[8]:= 20ac\nunichar=00000000\nHi[8]:= 20ac\nLo[10]:= 0\nunichar=000020AC\n");
    const std::vector<unsigned char> rejected = makeUtf16({0xDC00, 0x0041});
    testing::internal::CaptureStderr();
    EXPECT_EQ(convertUtf16ToUtf8Ex(rejected.data(), 2, dest, 15), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Hi[0]:= dc00\nLo[2]:= 41\ninvalid surrogate pair - bailing!");
}

TEST(StringUtilsTest, RepairsInItsTwoWays)
{
    typedef std::tuple<const char*, const char*, const char*> Row;
    static const Row ROWS[] = {{"", "", ""},
                               {"aé€😀", "aé€😀", "aé€😀"},
                               {"\x80", "?", "?"},
                               {"\xC3xy", "\xC3xx", "?y"},
                               {"\xE2\x28\xA1", "\xE2\x28\xA1", "?"},
                               {"a\xE2\x82", "a?", "a?"},
                               {"\xE2XY9", "\xE2XYX", "?9"},
                               {"\xF0\xF0XXX", "\xF0\xF0XX\xF0XXX", "?X"},
                               {"x\xF8\x88\x80\x80\x80y", "x?y", "xy"},
                               {"\xFC\x88\x80\x80\x80\x80", "?", ""},
                               {"\xFE\xFF", "??", "??"},
                               {"\xF8\x88vwxyz", "?vwxyz", "?yz"}};
    for (const auto& [given, lenient, strict] : ROWS) {
        SCOPED_TRACE(given);
        const Exact src(given);
        std::unique_ptr<char[]> dest(new char[strlen(given) + 4]);
        EXPECT_EQ(ensureValidUtf8String(src, dest.get()), strlen(lenient));
        EXPECT_STREQ(dest.get(), lenient);
        std::unique_ptr<unsigned char[]> exact(new unsigned char[strlen(given) + 1]);
        const void* const bytes = src;
        EXPECT_EQ(ensureStrictlyValidUtf8String(static_cast<const unsigned char*>(bytes), exact.get()), strlen(strict));
        EXPECT_EQ(memcmp(exact.get(), strict, strlen(strict) + 1), 0);
    }
}

TEST(StringUtilsTest, PrintsOneGroupACharacter)
{
    testing::internal::CaptureStdout();
    const unsigned char bytes[] = {0xA9, 'a', 0xC3, 0xA9, '\n'};
    printUtf8Bytes(bytes, 5);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "a9 61 c3a9 0a");
}

TEST(StringUtilsTest, FoldsByTheTable)
{
    for (unsigned int i = 1; i < CASE_FOLDING_COUNT; ++i)
        ASSERT_LT(CASE_FOLDINGS[i - 1].source, CASE_FOLDINGS[i].source);
    uint32_t sum = 0; // of all rows, against slips in single ones
    for (const CaseFolding& row : CASE_FOLDINGS)
        sum = (sum * 31 + row.source) * 31 + row.folded;
    EXPECT_EQ(sum, 3855720627u);
    typedef std::pair<unsigned int, unsigned int> Row;
    static const Row ROWS[] = {{0, 0},
                               {0x41, 0x61},
                               {0xB5, 0x3BC},
                               {0x17F, 0x73},
                               {0x241, 0x294},
                               {0x345, 0x3B9},
                               {0x3C2, 0x3C3},
                               {0x10A0, 0x2D00},
                               {0x10427, 0x1044F},
                               {0x10428, 0x10428},
                               {0xFFFFFFFF, 0xFFFFFFFF}};
    for (const auto& [codePoint, folded] : ROWS)
        EXPECT_EQ(tableSearch(codePoint), folded);
}

TEST(StringUtilsTest, FindsWithoutCase)
{
    typedef std::tuple<const char*, const char*, int> Row;
    static const Row CASES[] = {{"", "", -1},        {"a", "", 0},          {"a", nullptr, -1}, {nullptr, "a", -1},
                                {"abc", "abcd", -1}, {"aab", "AB", 1},      {"éÉté", "TÉ", 4},  {"miſſt", "SS", 2},
                                {"K", "k", 0},       {"ab\xE2", "\xE2", 2}, {"ab\xE2", "€", -1}};
    for (const auto& [haystack, needle, expected] : CASES)
        EXPECT_EQ(findIgnoreCase(haystack, needle), expected) << haystack << " " << needle;
}

TEST(StringUtilsTest, ComparesWithoutCase)
{
    typedef std::tuple<const char*, const char*, int> Row;
    static const Row CASES[] = {{nullptr, nullptr, 0},
                                {nullptr, "", -1},
                                {"", nullptr, 1},
                                {"", "", 0},
                                {"ABC", "abc", 0},
                                {"abc", "abd", -1},
                                {"ab", "abc", -1},
                                {"[", "{", -1},
                                {"@", "`", -1},
                                {"Z", "[", 1},
                                {"Été", "éTÉ", 0},
                                {"ſ", "S", 0},
                                {"z", "é", -1},
                                {"\xFF", "😀", 1},
                                {"a\xE2", "a\xE2", 0},
                                {"abcdefgh\x80ijk", "abcdefghijk", 0},
                                {"abcdefgh\x80", "abcdefgh", 0}};
    for (const auto& [a, b, expected] : CASES) {
        EXPECT_EQ(stringCompareInsensitive(a, b), expected) << a << " " << b;
        EXPECT_EQ(stringCompareInsensitive(b, a), -expected) << b << " " << a;
    }
}

TEST(StringUtilsTest, ComparesWordsAsCharacters)
{
    const auto slowCompare = [](const char* a, const char* b) {
        for (; a != nullptr && *a != '\0' && b != nullptr && *b != '\0'; a = getNextChar(a), b = getNextChar(b)) {
            if (charCompare(a, b))
                continue;
            const auto fold = [](const char* p) {
                return tableSearch(static_cast<unsigned int>(convertUtf8ToUnicode(p)));
            };
            return fold(a) >= fold(b) ? 1 : -1;
        }
        return (a != nullptr && *a != '\0') - (b != nullptr && *b != '\0');
    };
    std::mt19937 random(3);
    for (unsigned int round = 0; round < 20000; ++round) {
        std::string a(random() % 40 + (round % 50 == 0 ? 500 : 0), '\0');
        for (char& c : a)
            c = "aBzZ@[`{k"[random() % 9];
        std::string b = a;
        for (char& c : b)
            c = static_cast<char>(isalpha(static_cast<unsigned char>(c)) != 0 && random() % 2 == 0 ? c ^ 0x20 : c);
        if (!b.empty() && random() % 2 == 0)
            b[random() % b.size()] ^= static_cast<char>(random() % 2 == 0 ? 0x20 : 0xA3);
        const std::string tail = makeRandomText(random, 12);
        a += tail;
        b.insert(b.size() - random() % (b.size() + 1), random() % 4 == 0 ? tail : "");
        b.erase(std::min(b.find('\0'), b.size()));
        ASSERT_EQ(stringCompareInsensitive(Exact(a), Exact(b)), slowCompare(a.c_str(), b.c_str())) << a << "\n" << b;
    }
}

TEST(StringUtilsTest, HashesSignExtendedBytes)
{
    EXPECT_EQ(fnvHash24(""), 1875268u);
    EXPECT_EQ(fnvHash24(nullptr), 1875268u);
    EXPECT_EQ(fnvHash24("a"), 810363u);
    EXPECT_EQ(fnvHash24("é"), 7774187u); // fails where plain char is unsigned and used as it is
}
