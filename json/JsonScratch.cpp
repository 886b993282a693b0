#include "json/internal/JsonScratch.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "ostrel/internal/CopyBytes.h"

namespace json {

JsonScratch::~JsonScratch()
{
    if (_data != _initial)
        free(_data);
}

bool JsonScratch::put(size_t offset, const char* text, size_t length)
{
    char* const place = makeRoom(_data + offset, length + 1);
    if (place == nullptr)
        return false;
    *Ostrel::copyBytes(place, text, length) = '\0';
    return true;
}

/// Doubles the buffer until `size` bytes fit.
char* JsonScratch::grow(char* place, size_t size)
{
    const size_t offset = static_cast<size_t>(place - _data);
    size_t capacity = static_cast<size_t>(_end - _data);
    while (capacity - offset < size) {
        if (capacity > SIZE_MAX / 2)
            return nullptr;
        capacity *= 2;
    }
    char* const grown = static_cast<char*>(realloc(_data == _initial ? nullptr : _data, capacity));
    if (grown == nullptr)
        return nullptr;
    if (_data == _initial)
        memcpy(grown, _initial, sizeof(_initial));
    _data = grown;
    _end = grown + capacity;
    return grown + offset;
}

} // namespace json
