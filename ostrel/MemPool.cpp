#include "ostrel/MemPool.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "ostrel/ArrayAllocation.h"

namespace Ostrel {

namespace {

const unsigned int BITS_PER_BYTE = 8;
const unsigned int COUNT_SHIFT = 4;

constexpr std::array<unsigned char, 256> makeBitLookup()
{
    std::array<unsigned char, 256> table = {};
    for (unsigned int value = 0; value < table.size(); ++value) {
        unsigned int lowest = BITS_PER_BYTE;
        unsigned int count = 0;
        for (unsigned int bit = BITS_PER_BYTE; bit-- > 0;) {
            if ((value >> bit & 1) != 0) {
                lowest = bit;
                ++count;
            }
        }
        table[value] = static_cast<unsigned char>(count << COUNT_SHIFT | lowest);
    }
    return table;
}

uint64_t getBitmapSize(unsigned int chunks)
{
    return (uint64_t(chunks) + BITS_PER_BYTE - 1) / BITS_PER_BYTE;
}

/// A division of each offset by the chunk size is a call on most Arm cores, and the slowest step elsewhere. The product
/// with the reciprocal, rounded up, is too large by offset * excess / 2^32 at most, and exact while that is below 1.
uint32_t makeReciprocal(unsigned int chunkSize, uint64_t bytes)
{
    const uint64_t one = uint64_t(1) << 32;
    if (chunkSize < 2 || bytes > one)
        return 0;
    const uint64_t reciprocal = (one + chunkSize - 1) / chunkSize;
    const uint64_t excess = reciprocal * chunkSize - one;
    return bytes * excess <= one ? static_cast<uint32_t>(reciprocal) : 0;
}

} // namespace

// Made by the compiler: pools may be used before the constructors of static objects have run. Not `constexpr`, which
// would make it an inline variable, and such a one keeps the library mapped after `dlclose`.
const std::array<unsigned char, 256> MemPoolBase::_bitLookup = makeBitLookup();

void MemPoolBase::clear(unsigned int chunks, unsigned char* bitmap)
{
    std::fill_n(bitmap, chunks / BITS_PER_BYTE, 0xFF);
    // The bits behind the last chunk stay 0, or they would be handed out and counted.
    if (chunks % BITS_PER_BYTE != 0)
        bitmap[chunks / BITS_PER_BYTE] = static_cast<unsigned char>((1U << chunks % BITS_PER_BYTE) - 1);
}

void* MemPoolBase::allocate(unsigned int chunkSize, unsigned int bitmapBytes, unsigned char* storage,
                            unsigned char* bitmap)
{
    unsigned char* const byte = findFreeByte(bitmap, bitmap + bitmapBytes);
    return byte == bitmap + bitmapBytes ? nullptr : takeLowest(chunkSize, storage, bitmap, byte);
}

unsigned char* MemPoolBase::release(unsigned int chunkSize, unsigned int bitmapBytes, unsigned char* storage,
                                    unsigned char* bitmap, void* chunk)
{
    const size_t offset = reinterpret_cast<uintptr_t>(chunk) - reinterpret_cast<uintptr_t>(storage);
    const size_t index = chunkSize == 0 ? 0 : offset / chunkSize;
    return index / BITS_PER_BYTE < bitmapBytes ? giveBack(index, bitmap) : bitmap + bitmapBytes;
}

unsigned int MemPoolBase::getFreeChunks(const unsigned char* bitmap, unsigned int bitmapBytes)
{
    unsigned int count = 0;
    for (unsigned int i = 0; i < bitmapBytes; ++i)
        count += _bitLookup[bitmap[i]] >> COUNT_SHIFT;
    return count;
}

DynamicMemPool::DynamicMemPool(unsigned int chunkSize, unsigned char* buffer, unsigned int bufferSize)
    : _chunkSize(chunkSize), _ownsStorage(false)
{
    // 64 bits: the bits of a buffer of half a gigabyte are more than 32 can count.
    const uint64_t count = uint64_t(bufferSize) * BITS_PER_BYTE / (uint64_t(chunkSize) * BITS_PER_BYTE + 1);
    layOut(buffer, buffer == nullptr ? 0 : static_cast<unsigned int>(std::min<uint64_t>(count, UINT_MAX)));
}

DynamicMemPool::DynamicMemPool(unsigned int chunkSize, unsigned int chunkCount)
    : _chunkSize(chunkSize), _ownsStorage(true)
{
    const uint64_t size = uint64_t(chunkCount) * chunkSize + getBitmapSize(chunkCount);
    unsigned char* const storage = allocateArray<unsigned char>(size);
    layOut(storage, storage == nullptr ? 0 : chunkCount);
}

DynamicMemPool::~DynamicMemPool()
{
    if (_ownsStorage)
        delete[] _storage;
}

/// Chunks first, their bits behind them, all free.
void DynamicMemPool::layOut(unsigned char* storage, unsigned int chunkCount)
{
    _chunkCount = chunkCount;
    _storage = storage;
    _bitmap = storage + size_t(_chunkSize) * chunkCount;
    _cursor = _bitmap;
    _bitmapEnd = _bitmap + getBitmapSize(chunkCount);
    _reciprocal = makeReciprocal(_chunkSize, uint64_t(_chunkSize) * chunkCount);
    clear(chunkCount, _bitmap);
}

} // namespace Ostrel
