#pragma once

#include <cstring>
#include <vector>

/// Bytes at an odd address with guards on both sides.
class GuardedBuffer
{
public:
    explicit GuardedBuffer(unsigned int size) : _size(size), _bytes(size + 2 * GUARD + 1, FILL)
    {
        // Whatever the allocator gives, the data is at an odd address.
        _first = GUARD + 1 - (reinterpret_cast<size_t>(_bytes.data()) + GUARD) % 2;
    }

    unsigned char* data() { return _bytes.data() + _first; }
    unsigned int size() const { return _size; }

    bool areGuardsIntact() const
    {
        for (size_t i = 0; i < _bytes.size(); ++i) {
            if ((i < _first || i >= _first + _size) && _bytes[i] != FILL)
                return false;
        }
        return true;
    }

    std::vector<unsigned char> copy() const
    {
        return std::vector<unsigned char>(_bytes.begin() + static_cast<long>(_first),
                                          _bytes.begin() + static_cast<long>(_first + _size));
    }

    static constexpr unsigned char FILL = 0xA5;

private:
    static constexpr size_t GUARD = 16;

    unsigned int _size;
    size_t _first;
    std::vector<unsigned char> _bytes;
};
