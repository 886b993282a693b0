#include "ostrel/internal/EscapedPiece.h"

#include <cstddef>
#include <cstring>

#include "ostrel/Unaligned.h"
#include "ostrel/internal/ByteBlock.h"

namespace Ostrel {

namespace {

const int WORD_SIZE = 8;
const int HALF_WORD_SIZE = 4;

template <EscapeRule RULE, class Block>
__attribute__((always_inline)) inline bool hasSpecial(const Block& block)
{
    return block.hasAny(markSpecials<RULE>(block));
}

template <EscapeRule RULE>
bool isPlain(uint64_t first, uint64_t second)
{
#if defined(__SSE2__)
    return !hasSpecial<RULE>(ByteBlock(first, second));
#else
    // Words that are at hand stay where they are.
    return !hasSpecial<RULE>(WordBlock(first)) && !hasSpecial<RULE>(WordBlock(second));
#endif
}

/// For less than two words. Words may overlap, so that no byte behind the text is read.
template <EscapeRule RULE>
__attribute__((always_inline)) inline bool isShortPlain(const char* text, size_t length)
{
    const char* const end = text + length;
    if (length >= size_t{WORD_SIZE})
        return isPlain<RULE>(loadU64(text), loadU64(end - WORD_SIZE));
    if (length >= size_t{HALF_WORD_SIZE}) {
        const uint64_t both = uint64_t{loadU32(text)} << 32 | loadU32(end - HALF_WORD_SIZE);
        return isPlain<RULE>(both, both);
    }
    // Up to three bytes: the first, the middle and the last one are all.
    const EscapeTable& escapes = ESCAPES<RULE>;
    return length == 0 || (escapes[text[0]] | escapes[text[length / 2]] | escapes[end[-1]]) == EscapeTable::COPIED;
}

template <EscapeRule RULE>
bool isPlain(const char* text, const char* end)
{
    if (end - text < ByteBlock::SIZE)
        return isShortPlain<RULE>(text, static_cast<size_t>(end - text));
    for (; end - text > ByteBlock::SIZE; text += ByteBlock::SIZE) {
        if (hasSpecial<RULE>(ByteBlock(text)))
            return false;
    }
    // The last block overlaps what was found plain.
    return !hasSpecial<RULE>(ByteBlock(end - ByteBlock::SIZE));
}

template <EscapeRule RULE>
const char* findSpecial(const char* at, const char* end)
{
    for (; end - at >= ByteBlock::SIZE; at += ByteBlock::SIZE) {
        const ByteBlock block(at);
        const unsigned int special = block.find(markSpecials<RULE>(block));
        if (special != ByteBlock::SIZE)
            return at + special;
    }
    if (isShortPlain<RULE>(at, static_cast<size_t>(end - at)))
        return end;
    while (ESCAPES<RULE>[*at] == EscapeTable::COPIED)
        ++at;
    return at;
}

} // namespace

template <EscapeRule RULE>
void EscapedPiece<RULE>::measure()
{
    const char* const rest = _text + _size;
    const char* const end = rest + strlen(rest);
    _size = static_cast<uint64_t>(end - _text);
    _isPlain = isPlain<RULE>(rest, end);
    if (_isPlain)
        return;
    for (const char* at = rest; (at = findSpecial<RULE>(at, end)) != end; ++at)
        _size += ESCAPES<RULE>[*at] != EscapeTable::DROPPED ? 1 : 0;
}

template <EscapeRule RULE>
char* EscapedPiece<RULE>::writeEscaped(char* to) const
{
    char* const pieceEnd = to + _size;
    const char* const end = _text + strlen(_text);
    const char* run = _text;
    for (const char* at = _text; (at = findSpecial<RULE>(at, end)) != end; run = ++at) {
        to = copyBytes(to, run, static_cast<size_t>(at - run));
        if (ESCAPES<RULE>[*at] != EscapeTable::DROPPED) {
            *to++ = '\\';
            *to++ = static_cast<char>(ESCAPES<RULE>[*at]);
        }
    }
    to = copyBytes(to, run, static_cast<size_t>(end - run));
    // Dropped characters were counted. What is missing stands at the end, so that no byte goes out unwritten.
    memset(to, ' ', static_cast<size_t>(pieceEnd - to));
    return pieceEnd;
}

template class EscapedPiece<JSON_ESCAPES>;
template class EscapedPiece<XML_ESCAPES>;

} // namespace Ostrel
