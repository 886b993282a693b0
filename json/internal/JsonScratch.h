/// Not installed: internal to the library.
#pragma once

#include <cstddef>

namespace json {

/// The text of the current key and value: on the stack until a token outgrows it, then on the heap; it never shrinks.
///
/// Units:     bytes.
/// Ownership: owns its block; pointers into it die when it grows.
/// Errors:    a step that finds no memory says so, and what there was stays.
/// Threads:   belongs to one parse.
class JsonScratch
{
public:
    JsonScratch() : _data(_initial), _end(_initial + sizeof(_initial)) {}
    ~JsonScratch();
    JsonScratch(const JsonScratch&) = delete;
    JsonScratch& operator=(const JsonScratch&) = delete;

    char* getData() { return _data; }

    /// Where `place`, a place in the buffer, is once `size` bytes fit there; null when memory is exhausted.
    __attribute__((always_inline)) char* makeRoom(char* place, size_t size)
    {
        return hasRoom(place, size) ? place : grow(place, size);
    }

    bool hasRoom(const char* place, size_t size) const { return static_cast<size_t>(_end - place) >= size; }

    /// Puts a terminated copy at `offset`. False when memory is exhausted.
    bool put(size_t offset, const char* text, size_t length);

private:
    char* grow(char* place, size_t size);

    char* _data;
    char* _end;
    char _initial[512];
};

} // namespace json
