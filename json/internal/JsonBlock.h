/// Not installed: internal to the library.
///
/// What the JSON reader and the query in place look for in a block of text.
///
/// Units:     positions count from the block's first byte; its `SIZE` stands for none.
/// Ownership: none.
/// Errors:    none.
/// Threads:   plain values.
#pragma once

#include "ostrel/internal/ByteBlock.h"

namespace json {

using Ostrel::ByteBlock;

/// Without the bit that tells '{' from '[' and '}' from ']'.
const unsigned char BRACKET_MASK = 0xDF;

template <class Block>
OSTREL_BLOCK_STEP unsigned int findQuoteOrBackslash(const Block& block)
{
    return block.find(block.equal('"') | block.equal('\\'));
}

/// The position of the first byte that is no white space.
template <class Block>
OSTREL_BLOCK_STEP unsigned int findNonBlank(const Block& block)
{
    return block.findOther(block.equal(' ') | block.equal('\n') | block.equal('\t') | block.equal('\r'));
}

/// The position of the first bracket or brace of any kind for which `accept(position)` holds.
template <class Block, class Accept>
unsigned int findBracket(const Block& block, const Accept& accept)
{
    const Block square = block.masked(BRACKET_MASK);
    typename Block::Gathered left = square.gather(square.equal('[') | square.equal(']'));
    for (; left != 0; left = Block::dropFirst(left)) {
        if (accept(Block::findFirst(left)))
            return Block::findFirst(left);
    }
    return Block::SIZE;
}

} // namespace json
