#include <cstring>

#include "ostrel/StringUtils.h"
#include "ostrel/internal/CaseFolding.h"
#include "ostrel/internal/Utf8Bytes.h"

namespace Ostrel {

namespace {

/// The row that holds a letter, or the first one behind it.
unsigned int findRow(unsigned int codePoint)
{
    unsigned int low = 0;
    unsigned int high = CASE_FOLDING_COUNT;
    const unsigned int block = codePoint / CASE_FOLDING_BLOCK;
    if (block < CASE_FOLDING_BLOCKS) { // mostly leaves nothing to halve
        low = CASE_FOLDING_ROWS.rows[block];
        high = CASE_FOLDING_ROWS.rows[block + 1];
    }
    while (low < high) {
        const unsigned int middle = (low + high) / 2;
        if (CASE_FOLDINGS[middle].first + CASE_FOLDINGS[middle].span < codePoint) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

} // namespace

unsigned int tableSearch(unsigned int codePoint)
{
    const unsigned int index = findRow(codePoint);
    if (index == CASE_FOLDING_COUNT)
        return codePoint;
    const CaseFolding& row = CASE_FOLDINGS[index];
    const unsigned int offset = codePoint - row.first; // beyond every span for letters before the row
    const bool isFolded = offset <= row.span && (offset & (row.step - 1U)) == 0;
    return isFolded ? codePoint + static_cast<unsigned int>(row.shift) : codePoint;
}

namespace {

bool isAscii(char c)
{
    return static_cast<unsigned char>(c) < 0x80;
}

// In line, these two, also where space is saved: they are all that searches do with most characters.

__attribute__((always_inline)) inline unsigned int foldAscii(char c)
{
    const unsigned int letter = static_cast<unsigned char>(c);
    return letter - 'A' <= 'Z' - 'A' ? letter + ('a' - 'A') : letter;
}

unsigned int foldLong(const char* p)
{
    const bool hasTwoBytes = (static_cast<unsigned char>(*p) & 0xE0) == 0xC0;
    return tableSearch(hasTwoBytes ? (*p & 0x1FU) << 6 | (p[1] & 0x3FU)
                                   : static_cast<unsigned int>(convertUtf8ToUnicode(p)));
}

/// The folded character at `p`, without the table where it is ASCII.
__attribute__((always_inline)) inline unsigned int foldAt(const char* p)
{
    return isAscii(*p) ? foldAscii(*p) : foldLong(p);
}

const char* skipCharacter(const char* p)
{
    return skipContinuation(p + 1);
}

bool startsWithIgnoreCase(const char* text, const char* beginning)
{
    while (*beginning != '\0') {
        if (*text == '\0' || foldAt(text) != foldAt(beginning))
            return false;
        text = skipCharacter(text);
        beginning = skipCharacter(beginning);
    }
    return true;
}

} // namespace

bool charCompare(const char* a, const char* b)
{
    if (a == nullptr || b == nullptr)
        return a == b;
    return foldAt(a) == foldAt(b);
}

int findIgnoreCase(const char* haystack, const char* needle)
{
    if (haystack == nullptr || needle == nullptr)
        return -1;
    if (*needle == '\0')
        return *haystack == '\0' ? -1 : 0;
    const unsigned int first = foldAt(needle);
    for (const char* start = haystack; *start != '\0'; start = skipContinuation(start + 1)) {
        if (foldAt(start) == first && startsWithIgnoreCase(start, needle))
            return static_cast<int>(start - haystack);
    }
    return -1;
}

namespace {

const Lanes LANE_TOPS = LANE_ONES * 0x80;
const size_t LANE_COUNT = sizeof(Lanes);
const size_t BLOCK_SIZE = 256; // lengths are looked at by blocks, for long texts that differ early

/// Whether both words are ASCII and equal when folded. The additions cannot carry into the next byte, as all are below
/// 0x80: they set the top bit from 'a' on and from behind 'z' on.
bool isSameAscii(Lanes a, Lanes b)
{
    const Lanes caseBits = LANE_ONES * ('a' - 'A');
    const Lanes differing = a ^ b;
    const Lanes lower = a | caseBits;
    const Lanes letters =
        ((lower + LANE_ONES * (0x80 - 'a')) & ~(lower + LANE_ONES * (0x80 - 'z' - 1)) & LANE_TOPS) >> 2;
    return ((a | b) & LANE_TOPS) == 0 && (differing & ~letters) == 0;
}

/// All of 1 to `LANE_COUNT` - 1 bytes in one word, some of them twice.
Lanes loadShort(const char* text, size_t size)
{
    const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(text);
    if (size >= sizeof(uint32_t)) // never where words have 32 bits
        return static_cast<Lanes>(loadU32(bytes) | uint64_t(loadU32(bytes + size - sizeof(uint32_t))) << 32);
    return bytes[0] | Lanes(bytes[size / 2]) << 8 | Lanes(bytes[size - 1]) << 16;
}

/// Bytes from the start, at most `size`, in which both texts are ASCII and equal when folded; found by whole words, so
/// there may be a few more.
size_t countSameAscii(const char* a, const char* b, size_t size)
{
    if (size == 0)
        return 0;
    if (size < LANE_COUNT)
        return isSameAscii(loadShort(a, size), loadShort(b, size)) ? size : 0;
    size_t offset = 0;
    for (; offset <= size - LANE_COUNT; offset += LANE_COUNT) {
        if (!isSameAscii(loadWord<Lanes>(a + offset), loadWord<Lanes>(b + offset)))
            return offset;
    }
    // The last word overlaps the one before.
    const size_t last = size - LANE_COUNT;
    return isSameAscii(loadWord<Lanes>(a + last), loadWord<Lanes>(b + last)) ? size : offset;
}

int toSign(unsigned int a, unsigned int b)
{
    return a < b ? -1 : a > b;
}

} // namespace

int stringCompareInsensitive(const char* a, const char* b)
{
    if (a == nullptr || b == nullptr)
        return toSign(a != nullptr, b != nullptr);
    for (;;) {
        if (foldAt(a) == foldAt(b)) { // in searches the first characters mostly decide
            const size_t lengthA = strnlen(a, BLOCK_SIZE);
            const size_t lengthB = strnlen(b, BLOCK_SIZE);
            const size_t same = countSameAscii(a, b, lengthA < lengthB ? lengthA : lengthB);
            if (same > 0) {
                a = skipContinuation(a + same);
                b = skipContinuation(b + same);
            }
        }
        // Words are tried again where ASCII begins, and not for each letter of another alphabet.
        for (size_t step = 0; step < LANE_COUNT || !isAscii(*a); ++step) {
            if (*a == '\0' || *b == '\0')
                return toSign(*a != '\0', *b != '\0');
            const unsigned int foldedA = foldAt(a);
            const unsigned int foldedB = foldAt(b);
            if (foldedA != foldedB)
                return toSign(foldedA, foldedB);
            a = skipCharacter(a);
            b = skipCharacter(b);
        }
    }
}

} // namespace Ostrel
