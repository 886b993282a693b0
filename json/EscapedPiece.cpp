#include "json/EscapedPiece.h"

#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

#include "ostrel/Unaligned.h"

namespace json {

namespace {

const unsigned char COPIED = 0;
const unsigned char DROPPED = 1;

/// COPIED, DROPPED or the character that follows the backslash. Fixed, since `iscntrl` would follow the locale.
struct EscapeTable
{
    constexpr EscapeTable()
    {
        for (int control = 0; control < 32; ++control)
            entries[control] = DROPPED;
        entries[127] = DROPPED;
        entries[static_cast<int>('\b')] = 'b';
        entries[static_cast<int>('\t')] = 't';
        entries[static_cast<int>('\n')] = 'n';
        entries[static_cast<int>('\f')] = 'f';
        entries[static_cast<int>('\r')] = 'r';
        entries[static_cast<int>('"')] = '"';
        entries[static_cast<int>('\\')] = '\\';
        entries[static_cast<int>('/')] = '/';
    }

    constexpr unsigned char operator[](char byte) const { return entries[static_cast<unsigned char>(byte)]; }

    unsigned char entries[256] = {};
};

constexpr EscapeTable ESCAPES;

const int WORD_SIZE = 8;
const int HALF_WORD_SIZE = 4;

// Eight bytes at once, as every host can. A byte's highest bit in the result tells that it is special; exact for each
// byte, so the order of the bytes in the word does not matter.
uint64_t findSpecials(uint64_t word)
{
    const uint64_t ONES = 0x0101010101010101u;
    const uint64_t LOW_BITS = 0x7F * ONES;
    // Adding 0x7F to seven bits carries into the eighth unless they are all zero. Bytes of 128 and above drop out last.
    const uint64_t low = word & LOW_BITS;
    const uint64_t notQuote = (low ^ ('"' * ONES)) + LOW_BITS;
    const uint64_t notSlash = (low ^ ('/' * ONES)) + LOW_BITS;
    const uint64_t notBackslash = (low ^ ('\\' * ONES)) + LOW_BITS;
    const uint64_t notDelete = (low ^ LOW_BITS) + LOW_BITS;
    const uint64_t notControl = low + (128 - ' ') * ONES;
    return ~(notQuote & notSlash & notBackslash & notDelete & notControl) & ~word & ~LOW_BITS;
}

// `findSpecials(at)` looks at BLOCK_SIZE bytes; `firstByte` gives the offset of the first one found.
#if defined(__SSE2__)

const int BLOCK_SIZE = 16;

uint64_t findSpecials(__m128i block)
{
    // The smaller of byte and 31, unsigned, is the byte itself for control characters only.
    const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(block, _mm_set1_epi8(' ' - 1)), block);
    const __m128i quote = _mm_cmpeq_epi8(block, _mm_set1_epi8('"'));
    const __m128i slash = _mm_cmpeq_epi8(block, _mm_set1_epi8('/'));
    const __m128i backslash = _mm_cmpeq_epi8(block, _mm_set1_epi8('\\'));
    const __m128i erase = _mm_cmpeq_epi8(block, _mm_set1_epi8(127));
    const __m128i special =
        _mm_or_si128(_mm_or_si128(control, quote), _mm_or_si128(_mm_or_si128(slash, backslash), erase));
    return static_cast<unsigned int>(_mm_movemask_epi8(special));
}

uint64_t findSpecials(const char* at)
{
    return findSpecials(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at)));
}

unsigned int firstByte(uint64_t found)
{
    return static_cast<unsigned int>(__builtin_ctz(static_cast<unsigned int>(found)));
}

bool isPlain(uint64_t first, uint64_t second)
{
    return findSpecials(_mm_set_epi64x(static_cast<long long>(first), static_cast<long long>(second))) == 0;
}

#elif defined(__ARM_NEON)

const int BLOCK_SIZE = 16;

uint64_t findSpecials(const char* at)
{
    const uint8x16_t block = vld1q_u8(reinterpret_cast<const uint8_t*>(at));
    const uint8x16_t control = vcltq_u8(block, vdupq_n_u8(' '));
    const uint8x16_t quote = vceqq_u8(block, vdupq_n_u8('"'));
    const uint8x16_t slash = vceqq_u8(block, vdupq_n_u8('/'));
    const uint8x16_t backslash = vceqq_u8(block, vdupq_n_u8('\\'));
    const uint8x16_t erase = vceqq_u8(block, vdupq_n_u8(127));
    const uint8x16_t special = vorrq_u8(vorrq_u8(control, quote), vorrq_u8(vorrq_u8(slash, backslash), erase));
    // Four bits of each byte are kept, which makes one word of the block.
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(special), 4)), 0);
}

unsigned int firstByte(uint64_t found)
{
    return static_cast<unsigned int>(__builtin_ctzll(found)) / 4;
}

#else

const int BLOCK_SIZE = WORD_SIZE;

uint64_t findSpecials(const char* at)
{
    return findSpecials(Ostrel::loadU64(at));
}

unsigned int firstByte(uint64_t found)
{
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return static_cast<unsigned int>(__builtin_ctzll(found)) / 8;
#else
    return static_cast<unsigned int>(__builtin_clzll(found)) / 8;
#endif
}

#endif

#if !defined(__SSE2__)
bool isPlain(uint64_t first, uint64_t second)
{
    return (findSpecials(first) | findSpecials(second)) == 0;
}
#endif

/// For less than two words. Words may overlap, so that no byte behind the text is read.
bool isShortPlain(const char* text, size_t length)
{
    const char* const end = text + length;
    if (length >= size_t{WORD_SIZE})
        return isPlain(Ostrel::loadU64(text), Ostrel::loadU64(end - WORD_SIZE));
    if (length >= size_t{HALF_WORD_SIZE}) {
        const uint64_t first = Ostrel::loadU32(text);
        return findSpecials(first << 32 | Ostrel::loadU32(end - HALF_WORD_SIZE)) == 0;
    }
    // Up to three bytes: the first, the middle and the last one are all.
    return length == 0 || (ESCAPES[text[0]] | ESCAPES[text[length / 2]] | ESCAPES[end[-1]]) == COPIED;
}

bool isPlain(const char* text, const char* end)
{
    if (end - text < BLOCK_SIZE)
        return isShortPlain(text, static_cast<size_t>(end - text));
    for (; end - text > BLOCK_SIZE; text += BLOCK_SIZE) {
        if (findSpecials(text) != 0)
            return false;
    }
    // The last block overlaps what was found plain.
    return findSpecials(end - BLOCK_SIZE) == 0;
}

const char* findSpecial(const char* at, const char* end)
{
    for (; end - at >= BLOCK_SIZE; at += BLOCK_SIZE) {
        if (const uint64_t found = findSpecials(at))
            return at + firstByte(found);
    }
    if (isShortPlain(at, static_cast<size_t>(end - at)))
        return end;
    while (ESCAPES[*at] == COPIED)
        ++at;
    return at;
}

} // namespace

EscapedPiece::EscapedPiece(const char* text)
    : _text(text == nullptr ? "(null)" : text),
      _end(_text + strlen(_text)),
      _size(static_cast<uint64_t>(_end - _text)),
      _isPlain(isPlain(_text, _end))
{
    if (!_isPlain)
        _size = countEscaped();
}

uint64_t EscapedPiece::countEscaped() const
{
    uint64_t size = _size;
    for (const char* at = _text; (at = findSpecial(at, _end)) != _end; ++at)
        size += ESCAPES[*at] != DROPPED ? 1 : 0;
    return size;
}

char* EscapedPiece::writeEscaped(char* to) const
{
    char* const end = to + _size;
    const char* run = _text;
    for (const char* at = _text; (at = findSpecial(at, _end)) != _end; run = ++at) {
        to = Ostrel::copyBytes(to, run, static_cast<size_t>(at - run));
        if (ESCAPES[*at] != DROPPED) {
            *to++ = '\\';
            *to++ = static_cast<char>(ESCAPES[*at]);
        }
    }
    to = Ostrel::copyBytes(to, run, static_cast<size_t>(_end - run));
    // Dropped characters were counted. What is missing stands at the end, so that no byte goes out unwritten.
    memset(to, ' ', static_cast<size_t>(end - to));
    return end;
}

} // namespace json
