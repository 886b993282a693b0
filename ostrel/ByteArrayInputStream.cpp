#include "ostrel/ByteArrayInputStream.h"

#include <algorithm>
#include <cstring>

namespace Ostrel {

ByteArrayInputStream::ByteArrayInputStream(const char* text)
    : ByteArrayInputStream(reinterpret_cast<const unsigned char*>(text),
                           text == nullptr ? 0 : static_cast<unsigned int>(strlen(text)))
{}

ByteArrayInputStream::ByteArrayInputStream(const unsigned char* data, unsigned int length)
    : _data(data), _length(data == nullptr ? 0 : length), _position(0)
{}

ByteArrayInputStream::~ByteArrayInputStream() = default;

int ByteArrayInputStream::read(unsigned char* buffer, unsigned int size)
{
    const unsigned int count = std::min(_length - _position, size);
    if (count == 0)
        return 0;

    memcpy(buffer, _data + _position, count);
    _position += count;
    return static_cast<int>(count);
}

const char* ByteArrayInputStream::getErrorString() const
{
    return nullptr;
}

} // namespace Ostrel
