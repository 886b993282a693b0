#pragma once

#include <cstddef>
#include <cstdint>

#include "ostrel/TextGenerator.h"

namespace json {

/// A piece of text for `Ostrel::TextGenerator::write`, escaped as the inside of a JSON string. Not exported.
///
/// Escaped by a backslash: the double quote, the backslash, the slash, and backspace, tab, line feed, form feed and
/// carriage return as letters. Bytes of 128 and above pass unchanged, so UTF-8 does. Other control characters, 127
/// among them, are left out, but counted: the piece ends in as many blanks.
///
/// Ownership: the text is borrowed. Null stands for "(null)".
class EscapedPiece
{
public:
    explicit EscapedPiece(const char* text);

    uint64_t getSize() const { return _size; }
    char* writeTo(char* to) const
    {
        return _isPlain ? Ostrel::copyBytes(to, _text, static_cast<size_t>(_size)) : writeEscaped(to);
    }

private:
    uint64_t countEscaped() const;
    char* writeEscaped(char* to) const;

    const char* _text;
    const char* _end;
    uint64_t _size;
    bool _isPlain; ///< Goes out as it is.
};

} // namespace json
