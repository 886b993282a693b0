#include "ostrel/StringUtils.h"

#include <cstdio>
#include <cstring>

#include "ostrel/Assert.h"
#include "ostrel/internal/Utf8Bytes.h"

namespace Ostrel {

const signed char CHAR_LEN_TABLE[256] = {
    1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  // 00
    1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  // 10
    1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  // 20
    1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  // 30
    1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  // 40
    1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  // 50
    1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  // 60
    1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  1,  // 70
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, // 80
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, // 90
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, // A0
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, // B0
    2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  // C0
    2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  2,  // D0
    3,  3,  3,  3,  3,  3,  3,  3,  3,  3,  3,  3,  3,  3,  3,  3,  // E0
    4,  4,  4,  4,  4,  4,  4,  4,  -5, -5, -5, -5, -6, -6, -1, -1, // F0
};

const char* getNextChar(const char* p)
{
    OSTREL_ASSERT_TEXT(p != nullptr, "str");
    p = skipContinuation(p + 1);
    return *p == '\0' ? nullptr : p;
}

const char* getPreviousChar(const char* p, const char* start)
{
    OSTREL_ASSERT_TEXT(p != nullptr && start != nullptr, "str");
    while (p > start) {
        --p;
        if (!isContinuation(*p))
            return p;
    }
    return nullptr;
}

namespace {

const unsigned int MAX_LANE_SUM = 255;

unsigned int sumLanes(Lanes lanes)
{
    const Lanes evenBytes = ~Lanes(0) / 0xFFFF * 0xFF;
    const Lanes pairs = (lanes & evenBytes) + ((lanes >> 8) & evenBytes);
    return static_cast<unsigned int>(pairs * (~Lanes(0) / 0xFFFF) >> (8 * sizeof(Lanes) - 16));
}

/// 1 in each byte of the word at `text` that is a continuation byte: bit 7 set and bit 6 clear.
inline Lanes markContinuations(const char* text)
{
    const Lanes lanes = loadWord<Lanes>(text);
    return (lanes >> 7) & ~(lanes >> 6) & LANE_ONES;
}

/// Counts by words: each byte of `sum` counts the continuation bytes met at its place, at most 255 of them.
unsigned int countContinuationWords(const char* text, size_t words)
{
    unsigned int count = 0;
    while (words > 0) {
        size_t batch = words < MAX_LANE_SUM ? words : MAX_LANE_SUM;
        words -= batch;
        Lanes sum = 0;
        // Two at once: the branch of so short a loop costs a third of it on processors that dislike where it lies.
        for (; batch > 1; batch -= 2, text += 2 * sizeof(Lanes))
            sum += markContinuations(text) + markContinuations(text + sizeof(Lanes));
        if (batch > 0) {
            sum += markContinuations(text);
            text += sizeof(Lanes);
        }
        count += sumLanes(sum);
    }
    return count;
}

unsigned int countCharacters(const char* text, size_t byteLength)
{
    const size_t words = byteLength / sizeof(Lanes);
    unsigned int continuation = countContinuationWords(text, words);
    for (size_t i = words * sizeof(Lanes); i < byteLength; ++i)
        continuation += isContinuation(text[i]);
    return static_cast<unsigned int>(byteLength) - continuation;
}

} // namespace

unsigned int getUtf8Length(const char* text)
{
    return text == nullptr ? 0 : countCharacters(text, strlen(text));
}

int Utf8CharLen(char c)
{
    const unsigned int byte = static_cast<unsigned char>(c);
    if (isContinuation(c))
        return -1;
    return byte < 0x80 ? 1 : __builtin_clz(~(byte << 24));
}

int Utf8CharCount(const char* text)
{
    if (text == nullptr)
        return 0;
    int count = 0;
    while (*text != '\0') {
        const int length = Utf8CharLen(*text);
        if (length < 1)
            return -1;
        text += strnlen(text, static_cast<size_t>(length)); // the terminator may cut the last one short
        ++count;
    }
    return count;
}

int convertCharToByteOffset(unsigned int index, const char* text)
{
    if (index == 0)
        return 0;
    if (text == nullptr || *text == '\0')
        return -1;
    const char* p = text;
    for (; *p != '\0'; ++p) {
        if (isContinuation(*p))
            continue;
        if (index == 0)
            return static_cast<int>(p - text);
        --index;
    }
    return index == 0 ? static_cast<int>(p - text) : -1;
}

int convertByteToCharOffset(unsigned int offset, const char* text)
{
    if (offset == 0)
        return 0;
    if (text == nullptr || *text == '\0')
        return -1;
    if (strnlen(text, offset) < offset || isContinuation(text[offset]))
        return -1;
    return static_cast<int>(countCharacters(text, offset));
}

const char* calculateTruncationPoint(const char* text, unsigned int maxBytes)
{
    if (text == nullptr)
        return nullptr;
    const char* const end = text + strnlen(text, maxBytes);
    if (getSequenceLength(*end) == 1)
        return end;
    const char* const last = getPreviousChar(end, text);
    if (last == nullptr)
        return nullptr;
    const int length = getSequenceLength(*last);
    return length < 1 || length > end - last ? last : end;
}

char* Utf8strccpy(char* dest, const char* src, unsigned int maxChars, unsigned int maxBytes)
{
    if (dest == nullptr || src == nullptr)
        return dest;
    uint64_t written = 0;
    unsigned int characters = 0; // counted by leads, since a malformed sequence may hold several
    while (*src != '\0' && characters < maxChars) {
        const int length = getSequenceLength(*src);
        if (length < 1 || written + static_cast<unsigned int>(length) >= maxBytes)
            break;
        const size_t size = static_cast<size_t>(length);
        if (strnlen(src, size) < size)
            break;
        memmove(dest + written, src, size); // `src` may be a later part of `dest`
        characters += countCharacters(src, size);
        written += size;
        src += size;
    }
    dest[written] = '\0';
    return dest;
}

char* Utf8strncpy(char* dest, const char* src, unsigned int maxBytes)
{
    return Utf8strccpy(dest, src, UINT32_MAX, maxBytes);
}

void printUtf8Bytes(const unsigned char* bytes, unsigned int length)
{
    if (bytes == nullptr)
        return;
    for (unsigned int i = 0; i < length; ++i) {
        const bool startsCharacter = i > 0 && !isContinuation(static_cast<char>(bytes[i]));
        printf(startsCharacter ? " %02x" : "%02x", bytes[i]);
    }
}

unsigned int fnvHash24(const char* text)
{
    uint32_t hash = 0x811C9DC5;
    if (text != nullptr) {
        for (; *text != '\0'; ++text) {
            hash *= 0x01000193;
            // Sign-extended on every host: see docs/compatibility.md.
            hash ^= static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*text)));
        }
    }
    return (hash & 0xFFFFFF) ^ (hash >> 24);
}

} // namespace Ostrel
