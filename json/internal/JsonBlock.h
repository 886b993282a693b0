/// Not installed: internal to the library.
///
/// A stretch of text that is examined at once: 16 bytes where the processor has vectors, else one machine word.
/// The JSON reader and the query in place use it.
///
/// Units:     bytes; positions count from the block's first byte in memory.
/// Ownership: the bytes are copied in and out.
/// Errors:    none; `SIZE` bytes must exist.
/// Threads:   plain memory accesses.
#pragma once

#include <cstdint>

#include "ostrel/Unaligned.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

namespace json {

/// Without the bit that tells '{' from '[' and '}' from ']'.
const unsigned char BRACKET_MASK = 0xDF;

#if defined(__SSE2__)

class JsonBlock
{
public:
    enum { SIZE = 16 };

    explicit JsonBlock(const char* from) : _bytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))) {}

    void store(char* to) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _bytes); }

    /// The position of the first quote or backslash, `SIZE` when there is none.
    unsigned int findQuoteOrBackslash() const { return findFirst(gather(_mm_or_si128(equal('"'), equal('\\')))); }

    /// The position of the first byte that is no white space, `SIZE` when there is none.
    unsigned int findNonBlank() const
    {
        const __m128i blanks =
            _mm_or_si128(_mm_or_si128(equal(' '), equal('\n')), _mm_or_si128(equal('\t'), equal('\r')));
        return findFirst(~gather(blanks));
    }

    /// The position of the first bracket or brace of any kind for which `accept(position)` holds, `SIZE` without one.
    template <class Accept>
    unsigned int findBracket(const Accept& accept) const
    {
        const JsonBlock square(_mm_and_si128(_bytes, _mm_set1_epi8(static_cast<char>(BRACKET_MASK))));
        for (unsigned int left = gather(_mm_or_si128(square.equal('['), square.equal(']'))); left != 0;
             left &= left - 1) {
            if (accept(findFirst(left)))
                return findFirst(left);
        }
        return SIZE;
    }

private:
    explicit JsonBlock(__m128i bytes) : _bytes(bytes) {}

    __m128i equal(char byte) const { return _mm_cmpeq_epi8(_bytes, _mm_set1_epi8(byte)); }

    static unsigned int gather(__m128i matches) { return static_cast<unsigned int>(_mm_movemask_epi8(matches)); }

    static unsigned int findFirst(unsigned int mask)
    {
        return static_cast<unsigned int>(__builtin_ctz(mask | 1U << SIZE));
    }

    __m128i _bytes;
};

#elif defined(__ARM_NEON)

class JsonBlock
{
public:
    enum { SIZE = 16 };

    explicit JsonBlock(const char* from) : _bytes(vld1q_u8(reinterpret_cast<const uint8_t*>(from))) {}

    void store(char* to) const { vst1q_u8(reinterpret_cast<uint8_t*>(to), _bytes); }

    unsigned int findQuoteOrBackslash() const { return findFirst(gather(vorrq_u8(equal('"'), equal('\\')))); }

    unsigned int findNonBlank() const
    {
        return findFirst(
            gather(vmvnq_u8(vorrq_u8(vorrq_u8(equal(' '), equal('\n')), vorrq_u8(equal('\t'), equal('\r'))))));
    }

    template <class Accept>
    unsigned int findBracket(const Accept& accept) const
    {
        const JsonBlock square(vandq_u8(_bytes, vdupq_n_u8(BRACKET_MASK)));
        for (uint64_t left = gather(vorrq_u8(square.equal('['), square.equal(']'))); left != 0; left &= left - 1) {
            if (accept(findFirst(left)))
                return findFirst(left);
        }
        return SIZE;
    }

private:
    explicit JsonBlock(uint8x16_t bytes) : _bytes(bytes) {}

    uint8x16_t equal(uint8_t byte) const { return vceqq_u8(_bytes, vdupq_n_u8(byte)); }

    /// The top bit of four for each byte, since there is no instruction that gathers one.
    static uint64_t gather(uint8x16_t matches)
    {
        const uint8x8_t nibbles = vshrn_n_u16(vreinterpretq_u16_u8(matches), 4);
        return vget_lane_u64(vreinterpret_u64_u8(nibbles), 0) & 0x8888888888888888ULL;
    }

    static unsigned int findFirst(uint64_t mask)
    {
        if (mask == 0)
            return SIZE;
        return static_cast<unsigned int>(__builtin_ctzll(mask)) / 4;
    }

    uint8x16_t _bytes;
};

#else

class JsonBlock
{
public:
    using Word = uintptr_t;
    enum { SIZE = sizeof(Word) };

    explicit JsonBlock(const char* from) : _bytes(Ostrel::loadWord<Word>(from)) {}

    void store(char* to) const { Ostrel::storeWord(to, _bytes); }

    unsigned int findQuoteOrBackslash() const { return findFirst(equal('"') | equal('\\')); }

    unsigned int findNonBlank() const
    {
        return findFirst(~(equal(' ') | equal('\n') | equal('\t') | equal('\r')) & ~LOW_BITS);
    }

    template <class Accept>
    unsigned int findBracket(const Accept& accept) const
    {
        const JsonBlock square(_bytes & (ONES * BRACKET_MASK));
        for (Word left = square.equal('[') | square.equal(']'); left != 0; left = dropFirst(left)) {
            if (accept(findFirst(left)))
                return findFirst(left);
        }
        return SIZE;
    }

private:
    explicit JsonBlock(Word bytes) : _bytes(bytes) {}

    static constexpr Word ONES = static_cast<Word>(0x0101010101010101ULL);
    static constexpr Word LOW_BITS = ONES * 0x7F;

    /// The top bit of each byte that is `byte`. No carry leaves a byte, so every bit is right on any byte order.
    Word equal(unsigned char byte) const
    {
        const Word difference = _bytes ^ (ONES * byte);
        return ~(((difference & LOW_BITS) + LOW_BITS) | difference | LOW_BITS);
    }

    static unsigned int findFirst(Word matches)
    {
        if (matches == 0)
            return SIZE;
        const unsigned long long wide = matches;
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return static_cast<unsigned int>(__builtin_ctzll(wide)) / 8;
#else
        return static_cast<unsigned int>(__builtin_clzll(wide)) / 8 - (sizeof(wide) - SIZE);
#endif
    }

    static Word dropFirst(Word matches)
    {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return matches & (matches - 1);
#else
        return matches & (~static_cast<Word>(0) >> (8 * findFirst(matches) + 1));
#endif
    }

    Word _bytes;
};

#endif

} // namespace json
