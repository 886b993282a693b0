#pragma once

#include <array>
#include <cstddef>

#include "ostrel/Export.h"

namespace Ostrel {

/// The steps of a pool of equal chunks, over storage and a bitmap that the caller keeps.
///
/// Bit i of the bitmap (byte i / 8, bit i % 8 from the low end) is 1 while chunk i is free. Use `DynamicMemPool`,
/// unless storage and bitmap have to lie apart.
///
/// Units:     sizes are bytes; a bitmap has (chunks + 7) / 8 of them.
/// Ownership: storage and bitmap stay the caller's.
/// Errors:    no free chunk is null.
/// Threads:   not synchronized.
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

    static unsigned int getFreeChunks(const unsigned char* bitmap, unsigned int bitmapBytes);

protected:
    static unsigned char* takeLowest(unsigned int chunkSize, unsigned char* storage, const unsigned char* bitmap,
                                     unsigned char* byte);
};

/// Pool of chunks of one size that are taken and given back in any order.
///
/// For blocks of different sizes that are freed in reverse order use `HeapStack`.
///
///     DynamicMemPool pool(sizeof(Node), 100);
///     void* memory = pool.allocate();
///     pool.release(memory);
///
/// Units:     sizes are bytes. A chunk costs one bit besides its size; chunks are aligned as far as the storage and the
///            chunk size give it.
/// Ownership: a buffer of the caller's stays the caller's and outlives the pool; else the pool allocates its storage
///            once, when it is made. Chunks die with the pool.
/// Errors:    no free chunk is null; nothing is reported. A pool whose storage could not be had has no chunks.
/// Threads:   not synchronized; share a pool only under the caller's lock.
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
    void layOut(unsigned char* storage, unsigned int chunkCount);
    unsigned int getBitmapBytes() const { return static_cast<unsigned int>(_bitmapEnd - _bitmap); }

    unsigned int _chunkSize;
    unsigned int _chunkCount;
    unsigned char* _storage;
    unsigned char* _bitmap;
    unsigned char* _cursor; ///< No byte before it has a free chunk.
    unsigned char* _bitmapEnd;
    bool _ownsStorage;
};

} // namespace Ostrel
