// A source of arbitrary pieces: every line, decoded again, gives back what the source delivered.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ostrel/MimeInputStream.h"

namespace {

/// Delivers the data in pieces whose lengths stand before them; writes down what it gave.
class ScriptedStream : public Ostrel::InputStream
{
public:
    ScriptedStream(const uint8_t* data, size_t size, std::string& delivered)
        : _data(data), _size(size), _delivered(delivered)
    {}

    int read(unsigned char* buffer, unsigned int size) override
    {
        if (_size == 0)
            return -1;
        const size_t wanted = *_data++;
        --_size;
        const size_t count = std::min({wanted, _size, static_cast<size_t>(size)});
        memcpy(buffer, _data, count);
        _delivered.append(reinterpret_cast<const char*>(_data), count);
        _data += count;
        _size -= count;
        return static_cast<int>(count);
    }

    const char* getErrorString() const override { return nullptr; }

private:
    const uint8_t* _data;
    size_t _size;
    std::string& _delivered;
};

std::string decode(const std::string& text)
{
    static const char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    uint32_t bits = 0;
    unsigned int count = 0;
    for (const char c : text) {
        const char* const place = c == '\0' ? nullptr : strchr(ALPHABET, c);
        if (place == nullptr) { // padding or the end of a line: what is left over is part of no byte
            count = 0;
            continue;
        }
        bits = bits << 6 | static_cast<uint32_t>(place - ALPHABET);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes += static_cast<char>(bits >> count);
        }
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    std::string delivered;
    std::string text;
    Ostrel::SharedPtr<Ostrel::InputStream> source(new ScriptedStream(data + 2, size - 2, delivered));
    Ostrel::MimeInputStream stream(source, data[0] * 3U);
    const unsigned int pieceSize = data[1] + 1U;
    const std::unique_ptr<unsigned char[]> piece(new unsigned char[pieceSize]);
    for (size_t ends = 0; ends <= size;) { // the source may seem at its end before it is
        const int count = stream.read(piece.get(), pieceSize);
        if (count <= 0)
            ++ends;
        else
            text.append(piece.get(), piece.get() + count);
    }
    if (decode(text) != delivered)
        abort();
    return 0;
}
