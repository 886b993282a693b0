#pragma once

#include <string>

/// Bytes at an odd address with guards on both sides.
class GuardedBuffer
{
public:
    explicit GuardedBuffer(unsigned int size) : _size(size), _bytes(size + 2 * GUARD + 1, FILL)
    {
        // Whatever the allocator gives, the data is at an odd address.
        _first = GUARD + 1 - (reinterpret_cast<size_t>(_bytes.data()) + GUARD) % 2;
    }

    unsigned char* data() { return reinterpret_cast<unsigned char*>(_bytes.data()) + _first; }
    unsigned int size() const { return _size; }
    std::string copy() const { return _bytes.substr(_first, _size); }
    bool areGuardsIntact() const
    {
        return _bytes == std::string(_first, FILL) + copy() + std::string(_bytes.size() - _first - _size, FILL);
    }

    static constexpr char FILL = '\xA5';

private:
    static constexpr size_t GUARD = 16;

    unsigned int _size;
    size_t _first;
    std::string _bytes;
};
