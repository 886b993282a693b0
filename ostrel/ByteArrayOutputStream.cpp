#include "ostrel/ByteArrayOutputStream.h"

#include <cstring>

namespace Ostrel {

ByteArrayOutputStream::ByteArrayOutputStream(unsigned char* storage, unsigned int capacity)
{
    reset(storage, capacity);
}

ByteArrayOutputStream::~ByteArrayOutputStream() = default;

void ByteArrayOutputStream::reset(unsigned char* storage, unsigned int capacity)
{
    _state = STATE_OK;
    _storage = storage;
    _capacity = storage == nullptr ? 0 : capacity;
    _next = storage;
}

int ByteArrayOutputStream::write(const unsigned char* data, unsigned int size)
{
    const unsigned int written = static_cast<unsigned int>(_next - _storage);
    if (size > _capacity - written) {
        _state = STATE_TOO_SMALL;
        return -1;
    }

    if (size != 0)
        memcpy(_next, data, size);
    _next += size;
    _state = STATE_OK;
    return static_cast<int>(size);
}

const char* ByteArrayOutputStream::getErrorString() const
{
    switch (_state) {
    case STATE_OK:
        return "Ok";
    case STATE_TOO_SMALL:
        return "OutputStream storage too small";
    default:
        return "";
    }
}

} // namespace Ostrel
