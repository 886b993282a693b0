/// Not installed: internal to the library.
///
/// What the JSON reader and the query in place look for in a block of text.
///
/// Units:     positions count from the block's first byte; `ByteBlock::SIZE` stands for none.
/// Ownership: none.
/// Errors:    none.
/// Threads:   plain values.
#pragma once

#include "ostrel/internal/ByteBlock.h"

namespace json {

using Ostrel::ByteBlock;

/// Without the bit that tells '{' from '[' and '}' from ']'.
const unsigned char BRACKET_MASK = 0xDF;

OSTREL_BLOCK_STEP unsigned int findQuoteOrBackslash(const ByteBlock& block)
{
    return block.find(block.equal('"') | block.equal('\\'));
}

/// The position of the first byte that is no white space.
OSTREL_BLOCK_STEP unsigned int findNonBlank(const ByteBlock& block)
{
    return block.findOther(block.equal(' ') | block.equal('\n') | block.equal('\t') | block.equal('\r'));
}

/// The position of the first bracket or brace of any kind for which `accept(position)` holds.
template <class Accept>
unsigned int findBracket(const ByteBlock& block, const Accept& accept)
{
    const ByteBlock square = block.masked(BRACKET_MASK);
    ByteBlock::Gathered left = square.gather(square.equal('[') | square.equal(']'));
    for (; left != 0; left = ByteBlock::dropFirst(left)) {
        if (accept(ByteBlock::findFirst(left)))
            return ByteBlock::findFirst(left);
    }
    return ByteBlock::SIZE;
}

} // namespace json
