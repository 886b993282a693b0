#include <cstring>

#include "ostrel/CaseFolding.h"
#include "ostrel/StringUtils.h"
#include "ostrel/Utf8Bytes.h"

namespace Ostrel {

unsigned int tableSearch(unsigned int codePoint)
{
    unsigned int low = 0;
    unsigned int high = CASE_FOLDING_COUNT;
    while (low < high) {
        const unsigned int middle = (low + high) / 2;
        const CaseFolding& row = CASE_FOLDINGS[middle];
        if (row.source == codePoint)
            return row.folded;
        if (row.source < codePoint)
            low = middle + 1;
        else
            high = middle;
    }
    return codePoint;
}

namespace {

bool isAscii(char c)
{
    return static_cast<unsigned char>(c) < 0x80;
}

unsigned int foldAscii(char c)
{
    const unsigned int letter = static_cast<unsigned char>(c);
    return letter - 'A' <= 'Z' - 'A' ? letter + ('a' - 'A') : letter;
}

/// The folded character at `p`, without the table where it is ASCII.
unsigned int foldAt(const char* p)
{
    return isAscii(*p) ? foldAscii(*p) : tableSearch(static_cast<unsigned int>(convertUtf8ToUnicode(p)));
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
    for (const char* start = haystack; *start != '\0'; start = skipCharacter(start)) {
        if (startsWithIgnoreCase(start, needle))
            return static_cast<int>(start - haystack);
    }
    return -1;
}

int stringCompareInsensitive(const char* a, const char* b)
{
    if (a == nullptr || b == nullptr)
        return a == b ? 0 : a == nullptr ? -1 : 1;
    while (*a != '\0' && *b != '\0') {
        const unsigned int foldedA = foldAt(a);
        const unsigned int foldedB = foldAt(b);
        if (foldedA != foldedB)
            return foldedA > foldedB ? 1 : -1;
        a = skipCharacter(a);
        b = skipCharacter(b);
    }
    if (*a == *b)
        return 0;
    return *a == '\0' ? -1 : 1;
}

} // namespace Ostrel
