/// Not installed: internal to the library.
///
/// The pieces that `TextGenerator::write` takes, and how it writes them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ostrel/TextGenerator.h"
#include "ostrel/internal/CopyBytes.h"

namespace Ostrel {

/// One look at the capacity does for all. When memory runs out each piece is tried by itself, so that what still fits
/// is written.
template <class... Pieces>
inline void TextGenerator::write(const Pieces&... pieces)
{
    if (reserve((pieces.getSize() + ...))) {
        append(pieces...);
    } else {
        (writeAlone(pieces), ...);
    }
}

template <class... Pieces>
inline void TextGenerator::append(const Pieces&... pieces)
{
    char* end = _buffer + _length;
    ((end = pieces.writeTo(end)), ...);
    _length = static_cast<unsigned int>(end - _buffer);
}

template <class Piece>
inline void TextGenerator::writeAlone(const Piece& piece)
{
    if (piece.getSize() != 0 && reserve(piece.getSize()))
        append(piece);
}

/// A piece of constant text.
template <unsigned int SIZE>
class LiteralPiece
{
public:
    explicit constexpr LiteralPiece(const char (&text)[SIZE]) : _text(text) {}
    static uint64_t getSize() { return SIZE - 1; }

    char* writeTo(char* to) const
    {
        memcpy(to, _text, SIZE - 1);
        return to + SIZE - 1;
    }

private:
    const char* _text;
};

/// A piece of one character, or of none.
class CharacterPiece
{
public:
    explicit constexpr CharacterPiece(char character, bool present = true)
        : _size(present ? 1 : 0), _character(character)
    {}
    uint64_t getSize() const { return _size; }

    char* writeTo(char* to) const
    {
        // Always stored and only sometimes counted: the spare byte behind the text is there anyway.
        *to = _character;
        return to + _size;
    }

private:
    unsigned int _size;
    char _character;
};

/// A piece of bytes that are as they should be.
class BytesPiece
{
public:
    BytesPiece(const char* bytes, size_t size) : _bytes(bytes), _size(size) {}
    uint64_t getSize() const { return _size; }

    char* writeTo(char* to) const { return copyBytes(to, _bytes, _size); }

private:
    const char* _bytes;
    size_t _size;
};

} // namespace Ostrel
