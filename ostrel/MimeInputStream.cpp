#include "ostrel/MimeInputStream.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <new>

namespace Ostrel {

namespace {

const unsigned int GROUP_BYTES = 3;
const unsigned int GROUP_CHARACTERS = 4;
const unsigned int LINE_GROUPS = 19;
const unsigned int LINE_BYTES = LINE_GROUPS * GROUP_BYTES;
const unsigned int ENCODED_LINE_BYTES = LINE_GROUPS * GROUP_CHARACTERS + 2; // with CR LF

constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The two characters of 12 bits.
struct Pair
{
    char characters[2];
};

constexpr std::array<Pair, 4096> makePairs()
{
    std::array<Pair, 4096> pairs = {};
    for (unsigned int bits = 0; bits < pairs.size(); ++bits)
        pairs[bits] = {{ALPHABET[bits >> 6], ALPHABET[bits & 63]}};
    return pairs;
}

// Half the look-ups of a table of single characters, and two thirds of the time.
constexpr std::array<Pair, 4096> PAIRS = makePairs();

/// `in` may lie over `out`, but not before it: all three bytes are fetched first.
inline void encodeGroup(unsigned char* out, unsigned char first, unsigned char second, unsigned char third)
{
    memcpy(out, &PAIRS[static_cast<unsigned int>(first << 4 | second >> 4)], sizeof(Pair));
    memcpy(out + sizeof(Pair), &PAIRS[static_cast<unsigned int>((second & 0x0F) << 8 | third)], sizeof(Pair));
}

unsigned char* endLine(unsigned char* out)
{
    *out++ = '\r';
    *out++ = '\n';
    return out;
}

/// Less than a line. One or two bytes behind the last group are padded.
unsigned char* encodeLastLine(unsigned char* out, const unsigned char* in, unsigned int length)
{
    unsigned char* const start = out;
    for (; length >= GROUP_BYTES; length -= GROUP_BYTES, in += GROUP_BYTES, out += GROUP_CHARACTERS)
        encodeGroup(out, in[0], in[1], in[2]);
    if (length > 0) {
        encodeGroup(out, in[0], length > 1 ? in[1] : 0, 0);
        out[3] = '=';
        if (length == 1)
            out[2] = '=';
        out += GROUP_CHARACTERS;
    }
    return out - start == LINE_GROUPS * GROUP_CHARACTERS ? endLine(out) : out;
}

/// Returns the number of bytes written. Input that ends at a buffer's end is never overtaken by output from its start.
unsigned int encode(unsigned char* const buffer, const unsigned char* in, unsigned int length)
{
    unsigned char* out = buffer;
    for (; length >= LINE_BYTES; length -= LINE_BYTES) {
        for (unsigned int i = 0; i < LINE_GROUPS; ++i, in += GROUP_BYTES, out += GROUP_CHARACTERS)
            encodeGroup(out, in[0], in[1], in[2]);
        out = endLine(out);
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
    const unsigned int raw = std::min<unsigned int>(_size / ENCODED_LINE_BYTES * LINE_BYTES, INT_MAX);
    unsigned char* const in = _buffer.get() + (_size - raw);
    // A source that claims more than it was asked for must not lead us behind the buffer.
    const int count = std::min(source->read(in, raw), static_cast<int>(raw));
    if (count > 0)
        _fill = encode(_buffer.get(), in, static_cast<unsigned int>(count));
}

} // namespace Ostrel
