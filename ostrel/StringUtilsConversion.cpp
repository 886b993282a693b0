#include <cstdio>
#include <cstring>

#include "ostrel/StringUtils.h"
#include "ostrel/internal/Utf8Bytes.h"

namespace Ostrel {

int convertUtf8ToUnicode(const char* p)
{
    if (p == nullptr)
        return -1;
    static const unsigned char LEAD_MASK[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    const int length = getSequenceLength(*p);
    if (length < 1)
        return -1;
    int codePoint = static_cast<unsigned char>(*p) & LEAD_MASK[length];
    for (int i = 1; i < length; ++i) {
        if (*p != '\0')
            ++p; // stays on a terminator that cuts the sequence short
        codePoint = (codePoint << 6) + (static_cast<unsigned char>(*p) & 0x3F);
    }
    return codePoint;
}

namespace {

char continuationByte(unsigned int bits)
{
    return static_cast<char>(0x80 | (bits & 0x3F));
}

} // namespace

int convertUnicodeToUtf8(char* dest, unsigned int codePoint, unsigned int destSize)
{
    if (dest == nullptr)
        return -1;
    if (codePoint < 0x80 && destSize >= 1) {
        dest[0] = static_cast<char>(codePoint);
        return 1;
    }
    if (codePoint < 0x800 && destSize >= 2) {
        dest[0] = static_cast<char>(0xC0 | (codePoint >> 6));
        dest[1] = continuationByte(codePoint);
        return 2;
    }
    if (codePoint < 0x10000 && destSize >= 3) {
        dest[0] = static_cast<char>(0xE0 | (codePoint >> 12));
        dest[1] = continuationByte(codePoint >> 6);
        dest[2] = continuationByte(codePoint);
        return 3;
    }
    if (codePoint < 0x200000 && destSize >= 4) {
        dest[0] = static_cast<char>(0xF0 | (codePoint >> 18));
        dest[1] = continuationByte(codePoint >> 12);
        dest[2] = continuationByte(codePoint >> 6);
        dest[3] = continuationByte(codePoint);
        return 4;
    }
    return -1;
}

uint16_t read_uint16(const unsigned char* bytes)
{
    return loadU16(bytes);
}

namespace {

const int UNIT_SIZE = 2;

bool isSurrogate(unsigned int unit)
{
    return unit >= 0xD800 && unit <= 0xDFFF;
}

/// Narrow ranges, and both units have to miss theirs: more than the well-formed pairs is let through, and DBFF DFFF,
/// which is one, is not: see docs/compatibility.md.
bool isRejectedPair(unsigned int hi, unsigned int lo)
{
    return (hi < 0xD801 || hi > 0xDBFE) && (lo < 0xDC01 || lo > 0xDFFE);
}

unsigned int joinPair(unsigned int hi, unsigned int lo)
{
    return ((hi & 0x3FF) << 10) | (lo & 0x3FF);
}

/// The destination of a conversion from UTF-16.
struct Utf8Output
{
    char* dest;
    int size;
    int written;

    bool put(unsigned int codePoint)
    {
        const int room = size - written;
        if (room < 1)
            return false;
        const int length = convertUnicodeToUtf8(dest + written, codePoint, static_cast<unsigned int>(room));
        if (length < 1)
            return false;
        written += length;
        return true;
    }

    int finish()
    {
        if (written > size)
            return -1;
        dest[written] = '\0'; // callers reserve this byte beside `size`
        return 0;
    }
};

} // namespace

int convertUtf16ToUtf8(char* dest, const unsigned char* src, int destSize)
{
    if (dest == nullptr || src == nullptr)
        return -1;
    Utf8Output output = {dest, destSize, 0};
    // Only the first byte in memory ends the text, so on little-endian hosts U+0100 does too.
    while (src[0] != 0) {
        unsigned int codePoint = read_uint16(src);
        src += UNIT_SIZE;
        bool atEnd = false;
        if (isSurrogate(codePoint)) {
            const unsigned int lo = read_uint16(src);
            src += UNIT_SIZE;
            if (isRejectedPair(codePoint, lo))
                return -1;
            codePoint = joinPair(codePoint, lo); // 0x10000 is not added: see docs/compatibility.md
            atEnd = lo == 0;                     // a lone surrogate took the terminator with it
        }
        if (!output.put(codePoint))
            return -1;
        if (atEnd)
            break;
    }
    return output.finish();
}

int convertUtf16ToUtf8Ex(const unsigned char* src, int srcBytes, char* dest, int destSize)
{
    if (dest == nullptr || src == nullptr)
        return -1;
    Utf8Output output = {dest, destSize, 0};
    for (int i = 0; i + 1 < srcBytes; i += UNIT_SIZE) {
        unsigned int codePoint = read_uint16(src + i);
        const unsigned int lo = read_uint16(src + i + UNIT_SIZE);
        fprintf(stderr, "Hi[%d]:= %x\n", i, codePoint);
        fprintf(stderr, "Lo[%d]:= %x\n", i + UNIT_SIZE, lo);
        if (isSurrogate(codePoint)) {
            if (isRejectedPair(codePoint, lo)) {
                fprintf(stderr, "invalid surrogate pair - bailing!");
                return -1;
            }
            codePoint = joinPair(codePoint, lo) + 0x10000;
            i += UNIT_SIZE;
        }
        fprintf(stderr, "unichar=%08X\n", codePoint);
        if (!output.put(codePoint))
            return -1;
    }
    return output.finish();
}

unsigned int ensureValidUtf8String(const char* src, char* dest)
{
    if (dest == nullptr)
        return 0;
    const size_t total = src == nullptr ? 0 : strlen(src);
    const char* const end = src + total;
    size_t written = 0;
    // The step looks for the next lead whatever was copied, so bytes of a malformed sequence are copied twice.
    for (const char* p = src; p != nullptr && written < total; p = getNextChar(p)) {
        const int length = getSequenceLength(*p);
        if (length < 1 || length > end - p) {
            dest[written++] = '?';
            continue;
        }
        memmove(dest + written, p, static_cast<size_t>(length));
        written += static_cast<size_t>(length);
    }
    dest[written] = '\0';
    return static_cast<unsigned int>(written);
}

namespace {

const int LONGEST_VALID_SEQUENCE = 4;

/// Continuation bytes behind the lead at `p`, at most `count`.
int countContinuationBytes(const unsigned char* p, int count)
{
    int found = 0;
    while (found < count && isContinuation(static_cast<char>(p[1 + found])))
        ++found;
    return found;
}

} // namespace

unsigned int ensureStrictlyValidUtf8String(const unsigned char* src, unsigned char* dest)
{
    if (dest == nullptr)
        return 0;
    const unsigned char* const begin = dest;
    while (src != nullptr && *src != 0) {
        const int tableLength = CHAR_LEN_TABLE[*src];
        if (tableLength == -1) {
            *dest++ = '?';
            ++src;
            continue;
        }
        const int length = tableLength < 0 ? -tableLength : tableLength;
        if (countContinuationBytes(src, length - 1) < length - 1) {
            *dest++ = '?';
            // Skips as many bytes as the lead promises, also good ones.
            src += strnlen(reinterpret_cast<const char*>(src), static_cast<size_t>(length));
            continue;
        }
        if (length <= LONGEST_VALID_SEQUENCE) {
            memmove(dest, src, static_cast<size_t>(length)); // in place the two overlap behind a gap
            dest += length;
        }
        src += length;
    }
    *dest = 0;
    return static_cast<unsigned int>(dest - begin);
}

} // namespace Ostrel

extern "C" int C_convertUtf8ToUnicode(const char* p)
{
    return Ostrel::convertUtf8ToUnicode(p);
}
