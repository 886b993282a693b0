#include "ostrel/internal/EscapedPiece.h"

#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

#include "ostrel/Unaligned.h"

namespace Ostrel {

namespace {

const int WORD_SIZE = 8;
const int HALF_WORD_SIZE = 4;

// Blocks are examined at once. `equal` and `below` mark bytes, and `gather` makes one word of the marks.
#if !defined(__SSE2__)

/// Eight bytes, as every host can. The highest bit of a byte is its mark, exact for each byte, so the order of the
/// bytes in the word does not matter.
class WordBlock
{
public:
    explicit WordBlock(uint64_t bytes) : _bytes(bytes), _low(bytes & LOW_BITS) {}

    // Seven bits are compared, which carry into the eighth and no further. Bytes of 128 and above drop out last.
    uint64_t equal(unsigned char byte) const { return ~((_low ^ (byte * ONES)) + LOW_BITS); }
    uint64_t below(unsigned char byte) const { return ~(_low + (128u - byte) * ONES); }
    uint64_t gather(uint64_t marks) const { return marks & ~_bytes & ~LOW_BITS; }

private:
    static constexpr uint64_t ONES = 0x0101010101010101u;
    static constexpr uint64_t LOW_BITS = 0x7F * ONES;

    uint64_t _bytes;
    uint64_t _low;
};

#endif

#if defined(__SSE2__)

class Block
{
public:
    enum { SIZE = 16 };

    explicit Block(const char* from) : _bytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))) {}
    Block(uint64_t first, uint64_t second)
        : _bytes(_mm_set_epi64x(static_cast<long long>(first), static_cast<long long>(second)))
    {}

    __m128i equal(char byte) const { return _mm_cmpeq_epi8(_bytes, _mm_set1_epi8(byte)); }

    /// The smaller one, unsigned, of a byte and the highest below is the byte itself.
    __m128i below(char byte) const
    {
        return _mm_cmpeq_epi8(_mm_min_epu8(_bytes, _mm_set1_epi8(static_cast<char>(byte - 1))), _bytes);
    }

    static uint64_t gather(__m128i marks) { return static_cast<unsigned int>(_mm_movemask_epi8(marks)); }
    static unsigned int findFirst(uint64_t found)
    {
        return static_cast<unsigned int>(__builtin_ctz(static_cast<unsigned int>(found)));
    }

private:
    __m128i _bytes;
};

#elif defined(__ARM_NEON)

class Block
{
public:
    enum { SIZE = 16 };

    explicit Block(const char* from) : _bytes(vld1q_u8(reinterpret_cast<const uint8_t*>(from))) {}

    uint8x16_t equal(unsigned char byte) const { return vceqq_u8(_bytes, vdupq_n_u8(byte)); }
    uint8x16_t below(unsigned char byte) const { return vcltq_u8(_bytes, vdupq_n_u8(byte)); }

    /// Keeps four bits of each byte.
    static uint64_t gather(uint8x16_t marks)
    {
        return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(marks), 4)), 0);
    }
    static unsigned int findFirst(uint64_t found) { return static_cast<unsigned int>(__builtin_ctzll(found)) / 4; }

private:
    uint8x16_t _bytes;
};

#else

class Block : public WordBlock
{
public:
    enum { SIZE = WORD_SIZE };

    explicit Block(const char* from) : WordBlock(loadU64(from)) {}

    static unsigned int findFirst(uint64_t found)
    {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return static_cast<unsigned int>(__builtin_ctzll(found)) / 8;
#else
        return static_cast<unsigned int>(__builtin_clzll(found)) / 8;
#endif
    }
};

#endif

template <EscapeRule RULE, class AnyBlock>
__attribute__((always_inline)) inline constexpr uint64_t findSpecials(const AnyBlock& block)
{
    const auto always = block.equal('"') | block.equal('\\');
    if (RULE == JSON_ESCAPES)
        return block.gather(always | block.equal('/') | block.equal(127) | block.below(' '));
    // From backspace to carriage return each has a letter, but the vertical tab.
    return block.gather(always | (block.below('\r' + 1) & ~block.below('\b') & ~block.equal('\v')));
}

/// A block of one byte, for the compiler.
class ByteBlock
{
public:
    explicit constexpr ByteBlock(int byte) : _byte(byte) {}

    constexpr unsigned int equal(unsigned char byte) const { return _byte == byte ? 1 : 0; }
    constexpr unsigned int below(unsigned char byte) const { return _byte < byte ? 1 : 0; }
    static constexpr uint64_t gather(unsigned int marks) { return marks & 1; }

private:
    int _byte;
};

/// The search and the table name the same bytes. The terminator is in no block.
template <EscapeRule RULE>
constexpr bool isSearchedAsListed()
{
    for (int byte = 1; byte < 256; ++byte) {
        const bool isListed = ESCAPES<RULE>[static_cast<char>(byte)] != EscapeTable::COPIED;
        if (isListed != (findSpecials<RULE>(ByteBlock(byte)) != 0))
            return false;
    }
    return true;
}

static_assert(isSearchedAsListed<JSON_ESCAPES>() && isSearchedAsListed<XML_ESCAPES>(), "two lists of the same bytes");

template <EscapeRule RULE>
bool isPlain(uint64_t first, uint64_t second)
{
#if defined(__SSE2__)
    return findSpecials<RULE>(Block(first, second)) == 0;
#else
    return (findSpecials<RULE>(WordBlock(first)) | findSpecials<RULE>(WordBlock(second))) == 0;
#endif
}

/// For less than two words. Words may overlap, so that no byte behind the text is read.
template <EscapeRule RULE>
__attribute__((always_inline)) inline bool isShortPlain(const char* text, size_t length)
{
    const char* const end = text + length;
    if (length >= size_t{WORD_SIZE})
        return isPlain<RULE>(loadU64(text), loadU64(end - WORD_SIZE));
    if (length >= size_t{HALF_WORD_SIZE}) {
        const uint64_t both = uint64_t{loadU32(text)} << 32 | loadU32(end - HALF_WORD_SIZE);
        return isPlain<RULE>(both, both);
    }
    // Up to three bytes: the first, the middle and the last one are all.
    const EscapeTable& escapes = ESCAPES<RULE>;
    return length == 0 || (escapes[text[0]] | escapes[text[length / 2]] | escapes[end[-1]]) == EscapeTable::COPIED;
}

template <EscapeRule RULE>
bool isPlain(const char* text, const char* end)
{
    if (end - text < Block::SIZE)
        return isShortPlain<RULE>(text, static_cast<size_t>(end - text));
    for (; end - text > Block::SIZE; text += Block::SIZE) {
        if (findSpecials<RULE>(Block(text)) != 0)
            return false;
    }
    // The last block overlaps what was found plain.
    return findSpecials<RULE>(Block(end - Block::SIZE)) == 0;
}

template <EscapeRule RULE>
const char* findSpecial(const char* at, const char* end)
{
    for (; end - at >= Block::SIZE; at += Block::SIZE) {
        if (const uint64_t found = findSpecials<RULE>(Block(at)))
            return at + Block::findFirst(found);
    }
    if (isShortPlain<RULE>(at, static_cast<size_t>(end - at)))
        return end;
    while (ESCAPES<RULE>[*at] == EscapeTable::COPIED)
        ++at;
    return at;
}

} // namespace

template <EscapeRule RULE>
void EscapedPiece<RULE>::measure()
{
    const char* const rest = _text + _size;
    const char* const end = rest + strlen(rest);
    _size = static_cast<uint64_t>(end - _text);
    _isPlain = isPlain<RULE>(rest, end);
    if (_isPlain)
        return;
    for (const char* at = rest; (at = findSpecial<RULE>(at, end)) != end; ++at)
        _size += ESCAPES<RULE>[*at] != EscapeTable::DROPPED ? 1 : 0;
}

template <EscapeRule RULE>
char* EscapedPiece<RULE>::writeEscaped(char* to) const
{
    char* const pieceEnd = to + _size;
    const char* const end = _text + strlen(_text);
    const char* run = _text;
    for (const char* at = _text; (at = findSpecial<RULE>(at, end)) != end; run = ++at) {
        to = copyBytes(to, run, static_cast<size_t>(at - run));
        if (ESCAPES<RULE>[*at] != EscapeTable::DROPPED) {
            *to++ = '\\';
            *to++ = static_cast<char>(ESCAPES<RULE>[*at]);
        }
    }
    to = copyBytes(to, run, static_cast<size_t>(end - run));
    // Dropped characters were counted. What is missing stands at the end, so that no byte goes out unwritten.
    memset(to, ' ', static_cast<size_t>(pieceEnd - to));
    return pieceEnd;
}

template class EscapedPiece<JSON_ESCAPES>;
template class EscapedPiece<XML_ESCAPES>;

} // namespace Ostrel
