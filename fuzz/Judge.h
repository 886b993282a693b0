#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

/// Ends the run, which counts as a find.
inline void require(bool condition)
{
    if (!condition)
        abort();
}

/// Decisions taken from the input, one byte each; behind its end each is 0.
class Choices
{
public:
    Choices(const uint8_t* data, size_t size) : _next(data), _end(data + size) {}

    bool isEmpty() const { return _next == _end; }
    unsigned int below(unsigned int bound) { return isEmpty() ? 0 : *_next++ % bound; }

    /// That many bytes, fewer at the end of the input.
    std::string bytes(size_t count)
    {
        const uint8_t* const start = _next;
        _next += std::min(count, static_cast<size_t>(_end - _next));
        return std::string(start, _next);
    }

    long long integer()
    {
        uint64_t value = 0;
        for (const char byte : bytes(below(9)))
            value = value << 8 | static_cast<unsigned char>(byte);
        return static_cast<long long>(value);
    }

private:
    const uint8_t* _next;
    const uint8_t* _end;
};
