#include "ostrel/StringUtils.h"

#include "tests/support/TestIncludes.h"

using namespace Ostrel;

namespace {

/// A text in a heap block of exactly its size, so that the address sanitizer sees each byte read or written too many.
struct Exact : std::vector<char>
{
    explicit Exact(const std::string& text) : std::vector<char>(text.c_str(), text.c_str() + text.size() + 1) {}
    explicit Exact(size_t size) : std::vector<char>(size) {}
    operator const char*() const { return data(); } // NOLINT(google-explicit-constructor)
    unsigned char* getBytes() { return static_cast<unsigned char*>(static_cast<void*>(data())); }
};

/// Units in host order, with the ending unit 0.
std::vector<unsigned char> makeUtf16(const std::vector<uint16_t>& units)
{
    std::vector<unsigned char> bytes(2 * units.size() + 2);
    for (size_t i = 0; i < units.size(); ++i)
        memcpy(&bytes[2 * i], &units[i], 2);
    return bytes;
}

std::string makeRandomText(std::mt19937& random, unsigned int count, const std::vector<const char*>& pieces)
{
    std::string text;
    while (count-- > 0)
        text += pieces[random() % pieces.size()];
    return text;
}

} // namespace

TEST(StringUtilsTest, OffsetsCountsAndCutsFollowTheLeads)
{
    std::mt19937 random(1);
    for (unsigned int characters = 0; characters < 100; ++characters) {
        const std::string valid = makeRandomText(random, characters, {"a", "Q", "é", "Ж", "€", "中", "😀"});
        const Exact exact(valid);
        const char* const text = exact;
        SCOPED_TRACE(valid);
        EXPECT_EQ(getUtf8Length(text), characters);
        EXPECT_EQ(Utf8CharCount(text), static_cast<int>(characters));
        EXPECT_EQ(convertCharToByteOffset(characters + 1, text), -1);
        const unsigned int size = static_cast<unsigned int>(valid.size());
        unsigned int index = 0;
        unsigned int lead = 0;
        for (unsigned int offset = 0; offset <= size; ++offset) {
            const bool isLead = (text[offset] & 0xC0) != 0x80;
            EXPECT_EQ(convertByteToCharOffset(offset, text), isLead ? static_cast<int>(index) : -1);
            if (isLead) {
                EXPECT_EQ(convertCharToByteOffset(index++, text), static_cast<int>(offset));
                lead = offset;
            }
            const bool nothingFits = offset == 0 && (text[0] & 0x80) != 0;
            EXPECT_EQ(calculateTruncationPoint(text, offset), nothingFits ? nullptr : text + lead);
        }
        EXPECT_EQ(convertByteToCharOffset(size + 1, text), -1);
        EXPECT_EQ(calculateTruncationPoint(text, size + 3), text + size);
    }
    EXPECT_EQ(calculateTruncationPoint(nullptr, 3), nullptr);
    const std::string words = std::string(5000, '\x80') + "é"; // more than one byte of a word can count
    for (size_t start = 0; start < 9; ++start)
        EXPECT_EQ(getUtf8Length(words.c_str() + start), 1u);
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
    EXPECT_TRUE(Utf8CharCount("a\x80") == -1 && Utf8CharCount(Exact("ab\xF0\x9F")) == 3);
    EXPECT_TRUE(Utf8CharLen('\xBF') == -1 && Utf8CharLen('\xFB') == 5 && Utf8CharLen('\xFF') == 8);
    EXPECT_DEATH(getNextChar(nullptr), "StringUtils.cpp.*Assertion `str' failed");
    EXPECT_DEATH(getPreviousChar(nullptr, nullptr), "StringUtils.cpp.*Assertion `str' failed");
}

TEST(StringUtilsTest, CopiesWholeCharactersBelowTheLimits)
{
    const std::tuple<const char*, unsigned int, unsigned int, const char*> CASES[] = {
        {"xyz", 9, 3, "xy"}, {"xyz", 9, 0, ""},          {"xéz", 9, 3, "x"},    {"xéz", 9, 4, "xé"},
        {"xéz", 2, 9, "xé"}, {"\xC3xyz", 2, 9, "\xC3x"}, {"x\x80y", 9, 9, "x"}, {"xy\xE2\x82", 9, 9, "xy"}};
    for (const auto& [src, maxChars, maxBytes, expected] : CASES) {
        Exact dest(strlen(expected) + 1);
        EXPECT_EQ(Utf8strccpy(dest.data(), Exact(src), maxChars, maxBytes), dest.data());
        EXPECT_STREQ(dest, expected);
    }
    char dest[4] = "##";
    char inPlace[] = "xéz";
    EXPECT_STREQ(Utf8strccpy(inPlace, inPlace + 1, 9, 9), "éz");
    EXPECT_STREQ(Utf8strncpy(dest, nullptr, 3), "##");
    EXPECT_STREQ(Utf8strncpy(dest, "xéz", 4), "xé");
}

TEST(StringUtilsTest, EncodesUpTo21BitsAndNeverBeyondTheRoom)
{
    const char* expected = "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\xA0\xBD\xEF\xBF\xBF\xF0\x90\x80\x80\xF7\xBF\xBF\xBF";
    for (const unsigned int codePoint : {0x7F, 0x80, 0x7FF, 0x800, 0xD83D, 0xFFFF, 0x10000, 0x1FFFFF}) {
        const unsigned int length = static_cast<unsigned int>(CHAR_LEN_TABLE[static_cast<unsigned char>(*expected)]);
        Exact dest(length);
        EXPECT_EQ(convertUnicodeToUtf8(dest.data(), codePoint, length - 1), -1);
        EXPECT_EQ(convertUnicodeToUtf8(dest.data(), codePoint, 4), static_cast<int>(length));
        EXPECT_EQ(memcmp(dest, expected, length), 0);
        EXPECT_EQ(C_convertUtf8ToUnicode(dest), static_cast<int>(codePoint));
        expected += length;
    }
    char dest[4];
    EXPECT_EQ(convertUnicodeToUtf8(dest, 0x200000, 4), -1);
    EXPECT_TRUE(convertUtf8ToUnicode(Exact("\xE2")) == 0x2000 && convertUtf8ToUnicode(Exact("\xE2\x82")) == 0x2080);
    EXPECT_TRUE(convertUtf8ToUnicode("\x80") == -1 && convertUtf8ToUnicode("\xF8\x88\x80\x80\x80") == -1);
}

TEST(StringUtilsTest, ConvertsUtf16)
{
    // All units have two bytes that are not 0, unless a row is about that: the end is seen in the first one in memory,
    // which is the other one on a big-endian host. Null where the conversion fails.
    const std::pair<std::vector<uint16_t>, const char*> CASES[] = {
        {{0x20AC, 0x4E2D, 0x0416}, "€中Ж"},
        {{0xD83D, 0xDE01, 0x20AC}, "\xEF\x98\x81€"}, // 0x10000 is not added
        {{0xD83D, 0xDE00, 0x20AC}, "\xEF\x98\x80€"}, // a byte 0 in the second of a pair
        {{0xDBFF, 0xDFFF}, nullptr},                 // well-formed
        {{0xDBFF, 0xDFFE}, "\xF3\xBF\xBF\xBE"},      // one of the two saves the pair
        {{0xDBFE, 0x0141}, "\xF3\xBF\xA5\x81"},
        {{0xDE01, 0x4E2D}, nullptr},
        {{0xD83D}, "\xEF\x90\x80"}, // takes the end with it
        {{0xDBFF}, nullptr}};
    for (const auto& [units, expected] : CASES) {
        SCOPED_TRACE(testing::PrintToString(units));
        const std::vector<unsigned char> src = makeUtf16(units);
        const int length = expected == nullptr ? 15 : static_cast<int>(strlen(expected));
        Exact dest(static_cast<size_t>(length) + 1); // the terminator lies behind the room
        ASSERT_EQ(convertUtf16ToUtf8(dest.data(), src.data(), length), expected == nullptr ? -1 : 0);
        EXPECT_TRUE(expected == nullptr || strcmp(dest, expected) == 0);
        EXPECT_EQ(convertUtf16ToUtf8(dest.data(), src.data(), expected == nullptr ? -1 : length - 1), -1);
    }
    const unsigned char zeroFirst[] = {0, 0x41, 0x41, 0x41, 0, 0};
    char dest[] = "##";
    EXPECT_EQ(convertUtf16ToUtf8(dest, zeroFirst, 0), 0);
    EXPECT_STREQ(dest, "");
}

TEST(StringUtilsTest, ConvertsUtf16ByLengthWithATrace)
{
    std::vector<unsigned char> src = makeUtf16({0xD83D, 0xDE00, 0x0041, 0x0000, 0x20AC, 0xDC00});
    char dest[16];
    testing::internal::CaptureStderr();
    EXPECT_EQ(convertUtf16ToUtf8Ex(src.data(), 10, dest, 9), 0);
    EXPECT_EQ(std::string(dest, 10), std::string("😀A\0€\0", 10));
    EXPECT_EQ(convertUtf16ToUtf8Ex(&src[10], 2, dest, 15), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Hi[0]:= d83d\nLo[2]:= de00\nunichar=0001F600\nHi[4]:= 41\nLo[6]:= 0\nunichar=00000041\n"
              "Hi[6]:= 0\nLo[8]:= 20ac\nunichar=00000000\nHi[8]:= 20ac\nLo[10]:= dc00\nunichar=000020AC\n"
              "Hi[0]:= dc00\nLo[2]:= 0\ninvalid surrogate pair - bailing!");
}

TEST(StringUtilsTest, RepairsInItsTwoWays)
{
    static const char* const CASES[][3] = {{"", "", ""},
                                           {"aé€😀\xFE\xFF", "aé€😀??", "aé€😀??"},
                                           {"\x80", "?", "?"},
                                           {"\xE2\x28\xA1", "\xE2\x28\xA1", "?"},
                                           {"\xC3xy", "\xC3xx", "?y"},
                                           {"\xF0\xF0XXX", "\xF0\xF0XX\xF0XXX", "?X"},
                                           {"a\xE2\x82", "a?", "a?"},
                                           {"x\xF8\x88\x80\x80\x80y", "x?y", "xy"},
                                           {"\xE2XY9", "\xE2XYX", "?9"},
                                           {"\xFC\x88\x80\x80\x80\x80", "?", ""},
                                           {"\xC3xé😀", "\xC3xxé😀", "?é😀"},
                                           {"\xF8\x88vwxyz", "?vwxyz", "?yz"}};
    for (const auto& [given, lenient, strict] : CASES) {
        SCOPED_TRACE(given);
        Exact src(given);
        Exact dest(strlen(given) + 4);
        EXPECT_EQ(ensureValidUtf8String(src, dest.data()), strlen(lenient));
        EXPECT_STREQ(dest, lenient);
        Exact strictDest(strlen(given) + 1);
        EXPECT_EQ(ensureStrictlyValidUtf8String(src.getBytes(), strictDest.getBytes()), strlen(strict));
        EXPECT_STREQ(strictDest, strict);
        EXPECT_EQ(ensureStrictlyValidUtf8String(src.getBytes(), src.getBytes()), strlen(strict));
        EXPECT_STREQ(src, strict);
    }
}

TEST(StringUtilsTest, NullTextsHaveNothingInThem)
{
    unsigned char bytes[4] = {1};
    char text[4];
    EXPECT_EQ(Utf8CharCount(nullptr), 0);
    EXPECT_EQ(convertUtf8ToUnicode(nullptr), -1);
    EXPECT_EQ(convertUnicodeToUtf8(nullptr, 'x', 1), -1);
    EXPECT_EQ(convertUtf16ToUtf8(nullptr, bytes, 4) + convertUtf16ToUtf8(text, nullptr, 4), -2);
    EXPECT_EQ(convertUtf16ToUtf8Ex(nullptr, 4, text, 4) + convertUtf16ToUtf8Ex(bytes, 4, nullptr, 4), -2);
    EXPECT_EQ(ensureValidUtf8String("x", nullptr) + ensureStrictlyValidUtf8String(bytes, nullptr), 0u);
    EXPECT_TRUE(charCompare(nullptr, nullptr) && !charCompare("", nullptr) && !charCompare(nullptr, ""));
    printUtf8Bytes(nullptr, 4);
}

TEST(StringUtilsTest, PrintsOneGroupACharacter)
{
    testing::internal::CaptureStdout();
    printUtf8Bytes(Exact("\xA9 é\n").getBytes(), 5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "a9 20 c3a9 0a");
}

TEST(StringUtilsTest, FoldsByTheTable)
{
    uint32_t sum = 0; // of all letters, against slips in single ones
    for (unsigned int codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
        if (const unsigned int folded = tableSearch(codePoint); folded != codePoint)
            sum = (sum * 31 + codePoint) * 31 + folded;
    }
    EXPECT_EQ(sum, 3855720627u);
    for (const unsigned int codePoint : {0u, 0x40u, 0x242u, 0x10428u, 0xFFFFFFFFu})
        EXPECT_EQ(tableSearch(codePoint), codePoint);
}

TEST(StringUtilsTest, FindsWithoutCase)
{
    const std::tuple<const char*, const char*, int> CASES[] = {
        {"", "", -1},        {"a", "", 0},        {"a", nullptr, -1},   {nullptr, "a", -1},
        {"abc", "abcd", -1}, {"aab", "AB", 1},    {"K", "k", 0},        {"éÉté", "TÉ", 4},
        {"miſſt", "SS", 2},  {"ab\xE2", "€", -1}, {"ab\xE2", "\xE2", 2}};
    for (const auto& [haystack, needle, expected] : CASES)
        EXPECT_EQ(findIgnoreCase(haystack, needle), expected) << haystack << " " << needle;
}

TEST(StringUtilsTest, ComparesWithoutCase)
{
    const std::tuple<const char*, const char*, int> CASES[] = {
        {nullptr, nullptr, 0}, {nullptr, "", -1}, {"ABC", "abc", 0},    {"[", "{", -1},
        {"@", "`", -1},        {"Z", "[", 1},     {"ſ", "S", 0},        {"abcdefgh\x80", "abcdefgh", 0},
        {"\xFF", "😀", 1},      {"z", "é", -1},    {"Été", "éTÉ", 0},    {"a\xE2", "a\xE2", 0},
        {"a1b", "a!b", 1},     {"ab1", "ab!", 1}, {"00001", "0000!", 1}};
    for (const auto& [a, b, expected] : CASES) {
        EXPECT_EQ(stringCompareInsensitive(a, b), expected) << a << " " << b;
        EXPECT_EQ(stringCompareInsensitive(b, a), -expected) << b << " " << a;
    }
}

TEST(StringUtilsTest, ComparesWordsAsCharacters)
{
    const auto fold = [](const char* p) { return tableSearch(static_cast<unsigned int>(convertUtf8ToUnicode(p))); };
    const auto slowCompare = [fold](const char* a, const char* b) {
        for (; a != nullptr && *a != '\0' && b != nullptr && *b != '\0'; a = getNextChar(a), b = getNextChar(b)) {
            EXPECT_EQ(charCompare(a, b), fold(a) == fold(b));
            if (fold(a) != fold(b))
                return fold(a) > fold(b) ? 1 : -1;
        }
        return (a != nullptr && *a != '\0') - (b != nullptr && *b != '\0');
    };
    std::mt19937 random(3);
    for (unsigned int round = 0; round < 20000; ++round) {
        // Letters and their neighbours, a valid character, and bytes that break others.
        const std::string a = makeRandomText(random, random() % 16 + (round % 50 == 0 ? 200 : 0),
                                             {"aBz", "Zk@", "[`{", "abc", "é", "\x80", "\xE2"});
        std::string b = a;
        for (char& c : b)
            c = static_cast<char>(isalpha(static_cast<unsigned char>(c)) != 0 && random() % 2 == 0 ? c ^ 0x20 : c);
        if (!b.empty() && random() % 2 == 0)
            b[random() % b.size()] ^= static_cast<char>(random() % 2 == 0 ? 0x20 : 0xA3);
        if (random() % 3 == 0)
            b.resize(std::min<size_t>(b.size(), random() % 40));
        b.resize(strlen(b.c_str()));
        ASSERT_EQ(stringCompareInsensitive(Exact(a), Exact(b)), slowCompare(a.c_str(), b.c_str())) << a << "\n" << b;
    }
}

TEST(StringUtilsTest, HashesSignExtendedBytes)
{
    EXPECT_EQ(fnvHash24(nullptr), 1875268u);
    EXPECT_EQ(fnvHash24("a"), 810363u);
    EXPECT_EQ(fnvHash24("é"), 7774187u); // fails where plain char is unsigned and used as it is
}
