/// Not installed: internal to the library.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ostrel/internal/CopyBytes.h"

namespace Ostrel {

/// What goes out as a backslash and a letter. Always the double quote, the backslash, backspace, tab, line feed, form
/// feed and carriage return. Bytes of 128 and above never do, so UTF-8 passes unchanged.
enum EscapeRule {
    JSON_ESCAPES, ///< The slash too. Other control characters, 127 among them, are left out.
    XML_ESCAPES   ///< Nothing else: other control characters are copied.
};

/// Marks the bytes of a block that are not copied as they are. The one list of them: the table below follows it.
template <EscapeRule RULE, class Block>
__attribute__((always_inline)) inline constexpr auto markSpecials(const Block& block)
{
    const auto always = block.equal('"') | block.equal('\\');
    if constexpr (RULE == JSON_ESCAPES) {
        return always | block.equal('/') | block.equal(127) | block.below(' ');
    } else {
        // From backspace to carriage return each has a letter, but the vertical tab.
        return always | (block.below('\r' + 1) & ~block.below('\b') & ~block.equal('\v'));
    }
}

/// By byte COPIED, DROPPED or the character that follows the backslash. Fixed, since `iscntrl` would follow the locale.
/// The terminator is not COPIED, so that a search ends there.
class EscapeTable
{
public:
    enum : unsigned char { COPIED = 0, DROPPED = 1 };

    template <EscapeRule RULE>
    static constexpr EscapeTable make()
    {
        EscapeTable table;
        table._entries[0] = DROPPED;
        for (int byte = 1; byte < 128; ++byte) {
            if ((markSpecials<RULE>(Single{byte}) & 1) != 0)
                table._entries[byte] = getLetter(byte);
        }
        return table;
    }

    constexpr unsigned char operator[](char byte) const { return _entries[static_cast<unsigned char>(byte)]; }

private:
    /// A block of one byte, for the compiler.
    struct Single
    {
        int byte;

        constexpr unsigned int equal(int other) const { return byte == other ? 1 : 0; }
        constexpr unsigned int below(int other) const { return byte < other ? 1 : 0; }
    };

    static constexpr unsigned char getLetter(int byte)
    {
        switch (byte) {
        case '\b':
            return 'b';
        case '\t':
            return 't';
        case '\n':
            return 'n';
        case '\f':
            return 'f';
        case '\r':
            return 'r';
        case '"':
        case '\\':
        case '/':
            return static_cast<unsigned char>(byte);
        default:
            return DROPPED;
        }
    }

    unsigned char _entries[256] = {};
};

template <EscapeRule RULE>
inline constexpr EscapeTable ESCAPES = EscapeTable::make<RULE>();

/// A piece of text for `TextGenerator::write`, escaped. Not exported.
///
/// Characters that are left out are counted all the same: the piece ends in as many blanks.
///
/// Ownership: the text is borrowed. Null stands for "(null)".
template <EscapeRule RULE>
class EscapedPiece
{
public:
    explicit EscapedPiece(const char* text) : _text(text == nullptr ? "(null)" : text)
    {
        // Most keys and many values are plain and end before a call of `strlen` would pay.
        unsigned int size = 0;
        while (size < SHORT_SIZE && ESCAPES<RULE>[_text[size]] == EscapeTable::COPIED)
            ++size;
        _size = size;
        _isPlain = _text[size] == '\0';
        if (!_isPlain)
            measure();
    }

    uint64_t getSize() const { return _size; }
    char* writeTo(char* to) const
    {
        return _isPlain ? copyBytes(to, _text, static_cast<size_t>(_size)) : writeEscaped(to);
    }

private:
    static const unsigned int SHORT_SIZE = 12;

    void measure(); ///< The first `_size` bytes are known to be plain.
    char* writeEscaped(char* to) const;

    const char* _text;
    uint64_t _size;
    bool _isPlain; ///< Goes out as it is.
};

extern template class EscapedPiece<JSON_ESCAPES>;
extern template class EscapedPiece<XML_ESCAPES>;

} // namespace Ostrel
