#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ostrel/Export.h"
#include "ostrel/Unaligned.h"

namespace Ostrel {

/// The steps of a pool of equal chunks, over storage and a bitmap that the caller keeps.
///
/// Bit i of the bitmap (byte i / 8, bit i % 8 from the low end) is 1 while chunk i is free. Use `DynamicMemPool`,
/// unless storage and bitmap have to lie apart.
///
/// Units:     sizes are bytes; a bitmap has (chunks + 7) / 8 of them.
/// Errors:    no free chunk is null.
class OSTREL_EXPORT MemPoolBase
{
public:
    /// For each value of a bitmap byte: the index of its lowest set bit (8 when there is none) in the low 4 bits, the
    /// number of its set bits in the high 4.
    static const std::array<unsigned char, 256> _bitLookup;

    static void clear(unsigned int chunks, unsigned char* bitmap); ///< Marks all chunks as free.

    /// Takes the free chunk with the lowest address.
    static void* allocate(unsigned int chunkSize, unsigned int bitmapBytes, unsigned char* storage,
                          unsigned char* bitmap);

    /// Gives back the chunk at `chunk`; when the chunk size is 0, that is chunk 0. The address of its bitmap byte; an
    /// address that has no bit changes nothing and gives the end of the bitmap.
    static unsigned char* release(unsigned int chunkSize, unsigned int bitmapBytes, unsigned char* storage,
                                  unsigned char* bitmap, void* chunk);

    /// How many chunks are free.
    static unsigned int getFreeChunks(const unsigned char* bitmap, unsigned int bitmapBytes);

protected:
    static unsigned char* giveBack(size_t index, unsigned char* bitmap); ///< The address of the bitmap byte.
    /// The first byte of [`byte`, `end`) that is not 0, or `end`.
    static unsigned char* findFreeByte(unsigned char* byte, unsigned char* end);
    /// Takes the lowest free chunk of the bitmap byte at `byte`, which has one.
    static void* takeLowest(unsigned int chunkSize, unsigned char* storage, const unsigned char* bitmap,
                            unsigned char* byte);
};

/// Pool of chunks of one size that are taken and given back in any order.
///
/// For blocks of different sizes that are freed in reverse order use `HeapStack`.
///
///     DynamicMemPool pool(sizeof(timespec), 100);
///     void* memory = pool.allocate();
///     pool.release(memory);
///
/// Units:     sizes are bytes. A chunk costs one bit besides its size; chunks are aligned as far as the storage and the
///            chunk size give it.
/// Ownership: a buffer of the caller's stays the caller's and outlives the pool; else the pool allocates its storage
///            once, when it is made. Chunks die with the pool.
/// Errors:    no free chunk is null; nothing is reported. A pool whose storage could not be had has no chunks.
class OSTREL_EXPORT DynamicMemPool : public MemPoolBase
{
public:
    /// As many chunks as fit in the buffer together with their bits.
    DynamicMemPool(unsigned int chunkSize, unsigned char* buffer, unsigned int bufferSize);
    DynamicMemPool(unsigned int chunkSize, unsigned int chunkCount);
    DynamicMemPool(const DynamicMemPool&) = delete;
    DynamicMemPool& operator=(const DynamicMemPool&) = delete;
    ~DynamicMemPool();

    void* allocate(); ///< The free chunk with the lowest address; null when there is none.

    /// `chunk` must be one of this pool; null and other addresses outside its chunks are ignored.
    void release(void* chunk);

    unsigned int getChunkCount() const { return _chunkCount; }
    unsigned int getFreeChunks() const { return MemPoolBase::getFreeChunks(_bitmap, getBitmapBytes()); }

private:
    OSTREL_LOCAL void layOut(unsigned char* storage, unsigned int chunkCount);
    unsigned int getBitmapBytes() const { return static_cast<unsigned int>(_bitmapEnd - _bitmap); }

    unsigned int _chunkSize;
    unsigned int _chunkCount;
    unsigned char* _storage;
    unsigned char* _bitmap;
    unsigned char* _cursor; ///< No byte before it has a free chunk.
    unsigned char* _bitmapEnd;
    bool _ownsStorage;
    uint32_t _reciprocal; ///< 2^32 / chunk size; 0 where a product with it is not the exact quotient of each offset.
};

inline void* MemPoolBase::takeLowest(unsigned int chunkSize, unsigned char* storage, const unsigned char* bitmap,
                                     unsigned char* byte)
{
    const size_t index = static_cast<size_t>(byte - bitmap) * 8 + static_cast<size_t>(__builtin_ctz(*byte));
    *byte = static_cast<unsigned char>(*byte & (*byte - 1));
    return storage + chunkSize * index;
}

inline unsigned char* MemPoolBase::giveBack(size_t index, unsigned char* bitmap)
{
    unsigned char* const byte = bitmap + index / 8;
    *byte = static_cast<unsigned char>(*byte | 1U << index % 8);
    return byte;
}

/// Used up stretches are passed a word at a time.
inline unsigned char* MemPoolBase::findFreeByte(unsigned char* byte, unsigned char* end)
{
    while (end - byte >= static_cast<ptrdiff_t>(sizeof(size_t)) && loadWord<size_t>(byte) == 0)
        byte += sizeof(size_t);
    while (byte != end && *byte == 0)
        ++byte;
    return byte;
}

inline void* DynamicMemPool::allocate()
{
    if (_cursor == _bitmapEnd)
        return nullptr;
    if (*_cursor == 0) {
        _cursor = findFreeByte(_cursor, _bitmapEnd);
        if (_cursor == _bitmapEnd)
            return nullptr;
    }
    // The cursor stays on a byte that this empties: only the next call moves it.
    return takeLowest(_chunkSize, _storage, _bitmap, _cursor);
}

inline void DynamicMemPool::release(void* chunk)
{
    const size_t offset = reinterpret_cast<uintptr_t>(chunk) - reinterpret_cast<uintptr_t>(_storage);
    // Outside there may be a bit all the same: the last byte of the bitmap has bits behind those of the chunks. Chunks
    // of no bytes are all at the storage's own address.
    if (offset >= static_cast<size_t>(_bitmap - _storage) && (_chunkSize != 0 || offset != 0))
        return;

    unsigned char* const byte =
        _reciprocal != 0 ? giveBack(static_cast<size_t>(static_cast<uint64_t>(offset) * _reciprocal >> 32), _bitmap)
                         : MemPoolBase::release(_chunkSize, getBitmapBytes(), _storage, _bitmap, chunk);
    if (byte < _cursor)
        _cursor = byte;
}

} // namespace Ostrel
