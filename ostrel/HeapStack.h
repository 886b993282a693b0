#pragma once

#include <cstdint>

#include "ostrel/Export.h"
#include "ostrel/Unaligned.h"

namespace Ostrel {

/// Last-in-first-out allocator inside one buffer.
///
/// For blocks of one size that are freed in any order use `DynamicMemPool`.
///
///     unsigned char storage[256];
///     HeapStack stack(storage, sizeof(storage));
///     unsigned char* scratch = stack.allocate(40);
///     stack.free(scratch);
///
/// All state is in the buffer, as `docs/heap-stack.md` lays it out; each block has its size on both sides.
///
/// Units:     sizes are bytes; a block costs 8 bytes besides its size, the stack itself 8.
/// Ownership: the buffer stays the caller's and outlives the stack; the heap is never touched.
/// Errors:    a block that does not fit is null; nothing is reported. A null buffer, or one of fewer than 8 bytes, is
///            left alone and gives no blocks.
class OSTREL_EXPORT HeapStack
{
public:
    HeapStack(unsigned char* buffer, unsigned int size) { init(buffer, size); }
    HeapStack(const HeapStack&) = delete;
    HeapStack& operator=(const HeapStack&) = delete;

    void init(unsigned char* buffer, unsigned int size); ///< Starts over, without blocks, in another buffer.
    void clear();                                        ///< Drops all blocks.

    /// The block is not aligned beyond what the buffer and earlier sizes give. It dies with `free` of itself or of any
    /// block taken before it, and with `clear`. A block of 0 bytes costs its 8 like any other.
    unsigned char* allocate(unsigned int size);

    /// Drops the block and every block taken after it. Null is ignored; anything else must be a block of this stack.
    void free(unsigned char* block);

    /// Compares the sizes on both sides of the block and says on standard output when they differ, or when the address
    /// cannot be that of a block; nothing is repaired. Null is ignored. A first block of fewer than 4 bytes is said to
    /// be outside although it is good.
    void validate(unsigned char* block) const;

    /// The largest block that fits is 8 bytes smaller.
    unsigned int getFreeCount() const { return isUsable() ? loadU32(_buffer) : 0; }

private:
    enum Layout {
        WORD_SIZE = 4,
        HEADER_SIZE = 2 * WORD_SIZE, ///< The free count when the block was taken, the block's size.
        BLOCK_COST = HEADER_SIZE,    ///< A header and a trailer, less the word that becomes the next block's trailer.
        FIRST_DATA = WORD_SIZE + HEADER_SIZE,
        MINIMUM_SIZE = 2 * WORD_SIZE
    };

    bool isUsable() const { return _size >= MINIMUM_SIZE; }

    unsigned char* _buffer;
    unsigned int _size; ///< 0 for a null buffer.
};

inline unsigned char* HeapStack::allocate(unsigned int size)
{
    const uint64_t needed = uint64_t(size) + BLOCK_COST; // 64 bits: a sum with a caller's length must not wrap
    if (getFreeCount() < needed)
        return nullptr;

    const unsigned int left = loadU32(_buffer) - static_cast<unsigned int>(needed);
    unsigned char* const data = _buffer + left + FIRST_DATA;
    storeU32(_buffer, left);
    storeU32(data - HEADER_SIZE, left);
    storeU32(data - WORD_SIZE, size);
    storeU32(data + size, size);
    return data;
}

inline void HeapStack::free(unsigned char* block)
{
    if (block == nullptr)
        return;

    const unsigned int size = loadU32(block - WORD_SIZE);
    // From the address: the count in the header is the trailer of the next block by now, if there was one.
    const unsigned int left = static_cast<unsigned int>(block - _buffer) - FIRST_DATA;
    storeU32(_buffer, left + size + BLOCK_COST);
    storeU32(block + size, left + size + BLOCK_COST);
}

} // namespace Ostrel
