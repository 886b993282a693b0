/// Not installed: internal to the library.
///
/// A stretch of text that is examined at once: 16 bytes where the processor has vectors, else one word of eight.
///
/// `equal` and `below` mark bytes; marks combine by `|`, `&` and `~`, and are given back to the block that they are of.
/// `gather` makes one word of them, to be asked for the first and without it for the next one. A `Tally` counts bytes
/// of up to `MOST_BLOCKS` blocks.
///
/// Units:     bytes; positions count from the block's first byte in memory, and `SIZE` stands for none.
/// Ownership: the bytes are copied in and out.
/// Errors:    none; `SIZE` bytes must exist.
/// Threads:   plain memory accesses.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ostrel/Unaligned.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

// The steps are a few instructions each, and a call of them costs as many: compilers that save space would make one.
#define OSTREL_BLOCK_STEP __attribute__((always_inline)) inline

namespace Ostrel {

/// The place of the lowest bit that is set; one must be. Where registers have 32 bits the compiler would call its
/// library for a longer word.
OSTREL_BLOCK_STEP unsigned int findLowestBit(uint64_t word)
{
    if (sizeof(size_t) >= sizeof(uint64_t))
        return static_cast<unsigned int>(__builtin_ctzll(word));
    const uint32_t low = static_cast<uint32_t>(word);
    return static_cast<unsigned int>(low != 0 ? __builtin_ctz(low)
                                              : __builtin_ctz(static_cast<uint32_t>(word >> 32)) + 32);
}

/// Eight bytes, as every host can.
class WordBlock
{
public:
    enum { SIZE = 8 };
    using Marks = uint64_t;
    using Gathered = uint64_t;

    OSTREL_BLOCK_STEP explicit WordBlock(uint64_t bytes) : _bytes(bytes) {}
    OSTREL_BLOCK_STEP explicit WordBlock(const char* from) : _bytes(loadU64(from)) {}

    OSTREL_BLOCK_STEP void store(char* to) const { storeU64(to, _bytes); }
    OSTREL_BLOCK_STEP WordBlock masked(unsigned char mask) const { return WordBlock(_bytes & (mask * ONES)); }

    // The highest bit of a byte is its mark. Seven bits are compared, which carry into the eighth and no further, so
    // the marks are right on any byte order. Bytes of 128 and above drop out when the marks are gathered.
    OSTREL_BLOCK_STEP Marks equal(unsigned char byte) const { return ~((getLow() ^ (byte * ONES)) + LOW_BITS); }
    OSTREL_BLOCK_STEP Marks below(unsigned char byte) const { return ~(getLow() + (128U - byte) * ONES); }
    OSTREL_BLOCK_STEP Gathered gather(Marks marks) const { return marks & ~_bytes & ~LOW_BITS; }

    OSTREL_BLOCK_STEP bool hasAny(Marks marks) const { return gather(marks) != 0; }
    OSTREL_BLOCK_STEP unsigned int find(Marks marks) const { return findFirst(gather(marks)); }
    OSTREL_BLOCK_STEP unsigned int findOther(Marks marks) const { return findFirst(~gather(marks) & ~LOW_BITS); }

    OSTREL_BLOCK_STEP static unsigned int findFirst(Gathered found)
    {
        if (found == 0)
            return SIZE;
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return findLowestBit(found) / 8;
#else
        return static_cast<unsigned int>(__builtin_clzll(found)) / 8;
#endif
    }

    OSTREL_BLOCK_STEP static Gathered dropFirst(Gathered found)
    {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return found & (found - 1);
#else
        return found & (~uint64_t{0} >> (8 * findFirst(found) + 1));
#endif
    }

    class Tally
    {
    public:
        enum { MOST_BLOCKS = 255 }; // a byte for each position

        OSTREL_BLOCK_STEP void addEqual(const WordBlock& block, unsigned char byte)
        {
            _sums += block.gather(block.equal(byte)) >> 7;
        }

        /// Those of UTF-8: the highest bit is set and the next one is not.
        OSTREL_BLOCK_STEP void addContinuations(const WordBlock& block)
        {
            _sums += (block._bytes & ~(block._bytes << 1) & ~LOW_BITS) >> 7;
        }

        unsigned int getTotal() const
        {
            const uint64_t PAIRS = 0x00FF00FF00FF00FFU;
            const uint64_t sums = (_sums & PAIRS) + (_sums >> 8 & PAIRS);
            return static_cast<unsigned int>(sums * 0x0001000100010001U >> 48);
        }

    private:
        uint64_t _sums = 0;
    };

private:
    static constexpr uint64_t ONES = 0x0101010101010101U;
    static constexpr uint64_t LOW_BITS = 0x7F * ONES;

    OSTREL_BLOCK_STEP uint64_t getLow() const
    {
        return _bytes & LOW_BITS;
    }

    uint64_t _bytes;
};

#if defined(__SSE2__)

class ByteBlock
{
public:
    enum { SIZE = 16 };
    using Marks = __m128i;
    using Gathered = unsigned int;

    explicit ByteBlock(const char* from) : _bytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))) {}
    ByteBlock(uint64_t first, uint64_t second)
        : _bytes(_mm_set_epi64x(static_cast<long long>(second), static_cast<long long>(first)))
    {}

    void store(char* to) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _bytes); }
    ByteBlock masked(unsigned char mask) const { return ByteBlock(_mm_and_si128(_bytes, repeat(mask))); }

    Marks equal(unsigned char byte) const { return _mm_cmpeq_epi8(_bytes, repeat(byte)); }

    /// The smaller one, unsigned, of a byte and the highest below is the byte itself.
    Marks below(unsigned int byte) const { return _mm_cmpeq_epi8(_mm_min_epu8(_bytes, repeat(byte - 1)), _bytes); }

    static Gathered gather(Marks marks) { return static_cast<unsigned int>(_mm_movemask_epi8(marks)); }

    static bool hasAny(Marks marks) { return gather(marks) != 0; }
    static unsigned int find(Marks marks) { return findFirst(gather(marks)); }
    static unsigned int findOther(Marks marks) { return findFirst(~gather(marks)); }

    static unsigned int findFirst(Gathered found)
    {
        return static_cast<unsigned int>(__builtin_ctz(found | 1U << SIZE));
    }

    static Gathered dropFirst(Gathered found) { return found & (found - 1); }

    class Tally
    {
    public:
        enum { MOST_BLOCKS = 255 }; // a byte for each position

        // A mark is -1.
        void addEqual(const ByteBlock& block, unsigned char byte) { _sums = _mm_sub_epi8(_sums, block.equal(byte)); }

        /// Those of UTF-8, which are the lowest signed ones.
        void addContinuations(const ByteBlock& block)
        {
            _sums = _mm_sub_epi8(_sums, _mm_cmplt_epi8(block._bytes, repeat(0xC0)));
        }

        unsigned int getTotal() const
        {
            const __m128i halves = _mm_sad_epu8(_sums, _mm_setzero_si128());
            return static_cast<unsigned int>(_mm_cvtsi128_si32(halves) + _mm_extract_epi16(halves, 4));
        }

    private:
        __m128i _sums = _mm_setzero_si128();
    };

private:
    explicit ByteBlock(__m128i bytes) : _bytes(bytes) {}

    static __m128i repeat(unsigned int byte) { return _mm_set1_epi8(static_cast<char>(byte)); }

    __m128i _bytes;
};

#elif defined(__ARM_NEON)

class ByteBlock
{
public:
    enum { SIZE = 16 };
    using Marks = uint8x16_t;
    using Gathered = uint64_t;

    explicit ByteBlock(const char* from) : _bytes(vld1q_u8(reinterpret_cast<const uint8_t*>(from))) {}

    void store(char* to) const { vst1q_u8(reinterpret_cast<uint8_t*>(to), _bytes); }
    ByteBlock masked(unsigned char mask) const { return ByteBlock(vandq_u8(_bytes, vdupq_n_u8(mask))); }

    Marks equal(unsigned char byte) const { return vceqq_u8(_bytes, vdupq_n_u8(byte)); }
    Marks below(unsigned char byte) const { return vcltq_u8(_bytes, vdupq_n_u8(byte)); }

    /// Four bits for each byte, since there is no instruction that gathers one.
    static Gathered gather(Marks marks)
    {
        return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(marks), 4)), 0);
    }

    static bool hasAny(Marks marks) { return gather(marks) != 0; }
    static unsigned int find(Marks marks) { return findFirst(gather(marks)); }
    static unsigned int findOther(Marks marks) { return findFirst(~gather(marks)); }

    static unsigned int findFirst(Gathered found)
    {
        if (found == 0)
            return SIZE;
        return static_cast<unsigned int>(__builtin_ctzll(found)) / 4;
    }

    static Gathered dropFirst(Gathered found) { return found & ~(uint64_t{0xF} << (4 * findFirst(found))); }

    class Tally
    {
    public:
        enum { MOST_BLOCKS = 255 }; // a byte for each position

        // A mark is -1.
        void addEqual(const ByteBlock& block, unsigned char byte) { _sums = vsubq_u8(_sums, block.equal(byte)); }

        /// Those of UTF-8, which are the lowest signed ones.
        void addContinuations(const ByteBlock& block)
        {
            _sums = vsubq_u8(_sums, vcltq_s8(vreinterpretq_s8_u8(block._bytes), vdupq_n_s8(-0x40)));
        }

        unsigned int getTotal() const
        {
            const uint64x2_t halves = vpaddlq_u32(vpaddlq_u16(vpaddlq_u8(_sums)));
            return static_cast<unsigned int>(vgetq_lane_u64(halves, 0) + vgetq_lane_u64(halves, 1));
        }

    private:
        uint8x16_t _sums = vdupq_n_u8(0);
    };

private:
    explicit ByteBlock(uint8x16_t bytes) : _bytes(bytes) {}

    uint8x16_t _bytes;
};

#else

using ByteBlock = WordBlock;

#endif

} // namespace Ostrel
