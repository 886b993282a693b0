#include "ostrel/MimeInputStream.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <endian.h>
#include <new>

#include "ostrel/Unaligned.h"

namespace Ostrel {

namespace {

const unsigned int GROUP_BYTES = 3;
const unsigned int GROUP_CHARACTERS = 4;
const unsigned int LINE_GROUPS = 19;
const unsigned int LINE_BYTES = LINE_GROUPS * GROUP_BYTES;
const unsigned int ENCODED_LINE_BYTES = LINE_GROUPS * GROUP_CHARACTERS + 2; // with CR LF

constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The two characters of 12 bits, the first in the high byte.
constexpr uint16_t makePair(uint32_t bits)
{
    return static_cast<uint16_t>(ALPHABET[bits >> 6] << 8 | ALPHABET[bits & 63]);
}

#ifdef __OPTIMIZE_SIZE__

inline uint32_t getPair(uint32_t bits)
{
    return makePair(bits);
}

#else

constexpr std::array<uint16_t, 4096> makePairs()
{
    std::array<uint16_t, 4096> pairs = {};
    for (unsigned int bits = 0; bits < pairs.size(); ++bits)
        pairs[bits] = makePair(bits);
    return pairs;
}

// Half the look-ups of a table of single characters, for 8 KiB.
constexpr std::array<uint16_t, 4096> PAIRS = makePairs();

inline uint32_t getPair(uint32_t bits)
{
    return PAIRS[bits];
}

#endif

inline uint32_t encode24(uint32_t bits)
{
    return getPair(bits >> 12 & 0xFFF) << 16 | getPair(bits & 0xFFF);
}

// Output may lie over its own input, so all of a group is fetched, in one load, before anything is stored. The load
// begins with bytes before the group: the buffer always has some there, and what they hold falls out.

inline void encodeGroup(unsigned char* out, const unsigned char* in)
{
    storeU32(out, htobe32(encode24(be32toh(loadU32(in - 1)))));
}

inline void encodeTwoGroups(unsigned char* out, const unsigned char* in)
{
    const uint64_t bits = be64toh(loadU64(in - 2));
    const uint64_t first = encode24(static_cast<uint32_t>(bits >> 24));
    storeU64(out, htobe64(first << 32 | encode24(static_cast<uint32_t>(bits))));
}

/// The last one or two bytes; '=' makes a group of them.
inline void encodePadded(unsigned char* out, const unsigned char* in, unsigned int length)
{
    const int bits = in[0] << 16 | (length > 1 ? in[1] << 8 : 0);
    storeU32(out, htobe32(encode24(static_cast<uint32_t>(bits))));
    out[3] = '=';
    if (length == 1)
        out[2] = '=';
}

unsigned char* endLine(unsigned char* out)
{
    *out++ = '\r';
    *out++ = '\n';
    return out;
}

/// Less than a line.
unsigned char* encodeLastLine(unsigned char* out, const unsigned char* in, unsigned int length)
{
    unsigned char* const start = out;
    for (; length >= GROUP_BYTES; length -= GROUP_BYTES, in += GROUP_BYTES, out += GROUP_CHARACTERS)
        encodeGroup(out, in);
    if (length > 0) {
        encodePadded(out, in, length);
        out += GROUP_CHARACTERS;
    }
    return out - start == LINE_GROUPS * GROUP_CHARACTERS ? endLine(out) : out;
}

/// Returns the number of bytes written. Input that ends at a buffer's end is never overtaken by output from its start.
unsigned int encode(unsigned char* const buffer, const unsigned char* in, unsigned int length)
{
    unsigned char* out = buffer;
    for (; length >= LINE_BYTES; length -= LINE_BYTES) {
        for (unsigned int i = 0; i < LINE_GROUPS / 2; ++i, in += 2 * GROUP_BYTES, out += 2 * GROUP_CHARACTERS)
            encodeTwoGroups(out, in);
        encodeGroup(out, in);
        in += GROUP_BYTES;
        out = endLine(out + GROUP_CHARACTERS);
    }
    return static_cast<unsigned int>(encodeLastLine(out, in, length) - buffer);
}

} // namespace

const char MimeInputStream::OUT_OF_MEMORY[] = "Out of memory";

MimeInputStream::MimeInputStream(const SharedPtr<InputStream>& source, unsigned int size)
    : _source(source),
      _buffer(nullptr),
      _size(std::max(size, ENCODED_LINE_BYTES)),
      _fill(0),
      _position(0),
      _error(nullptr)
{
    _buffer.reset(new (std::nothrow) unsigned char[_size]);
    if (_buffer == nullptr)
        _error = OUT_OF_MEMORY;
}

MimeInputStream::~MimeInputStream() = default;

int MimeInputStream::read(unsigned char* buffer, unsigned int size)
{
    if (_error != nullptr)
        return -1;

    unsigned int delivered = 0;
    while (delivered < size) {
        checkAndFillBuffer();
        if (_position == _fill)
            break;

        const unsigned int count = std::min(size - delivered, _fill - _position);
        memcpy(buffer + delivered, _buffer.get() + _position, count);
        _position += count;
        delivered += count;
    }
    return static_cast<int>(delivered);
}

const char* MimeInputStream::getErrorString() const
{
    return nullptr;
}

void MimeInputStream::checkAndFillBuffer()
{
    if (_position < _fill || _error != nullptr)
        return;

    _position = _fill = 0;
    InputStream* const source = _source.require();
    if (source == nullptr)
        return;

    // The raw bytes go to the end of the buffer, so that they can be encoded towards its front.
    // Whole lines, and no more than a read can count.
    const unsigned int raw = std::min(_size / ENCODED_LINE_BYTES, INT_MAX / LINE_BYTES) * LINE_BYTES;
    unsigned char* const in = _buffer.get() + (_size - raw);
    // A source that claims more than it was asked for must not lead us behind the buffer.
    const int count = std::min(source->read(in, raw), static_cast<int>(raw));
    if (count > 0)
        _fill = encode(_buffer.get(), in, static_cast<unsigned int>(count));
}

} // namespace Ostrel
