#pragma once

#include <cstddef>
#include <cstdint>

#include "ostrel/TextGenerator.h"

namespace Ostrel {

/// What goes out as a backslash and a letter. Always the double quote, the backslash, backspace, tab, line feed, form
/// feed and carriage return. Bytes of 128 and above never do, so UTF-8 passes unchanged.
enum EscapeRule {
    JSON_ESCAPES, ///< The slash too. Other control characters, 127 among them, are left out.
    XML_ESCAPES   ///< Nothing else: other control characters are copied.
};

/// A piece of text for `TextGenerator::write`, escaped. Not exported.
///
/// Characters that are left out are counted all the same: the piece ends in as many blanks.
///
/// Ownership: the text is borrowed. Null stands for "(null)".
template <EscapeRule RULE>
class EscapedPiece
{
public:
    explicit EscapedPiece(const char* text);

    uint64_t getSize() const { return _size; }
    char* writeTo(char* to) const
    {
        return _isPlain ? copyBytes(to, _text, static_cast<size_t>(_size)) : writeEscaped(to);
    }

private:
    uint64_t countEscaped() const;
    char* writeEscaped(char* to) const;

    const char* _text;
    const char* _end;
    uint64_t _size;
    bool _isPlain; ///< Goes out as it is.
};

extern template class EscapedPiece<JSON_ESCAPES>;
extern template class EscapedPiece<XML_ESCAPES>;

} // namespace Ostrel
