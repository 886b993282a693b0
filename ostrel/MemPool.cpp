#include "ostrel/MemPool.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <new>

#include "ostrel/Unaligned.h"

namespace Ostrel {

namespace {

const unsigned int BITS_PER_BYTE = 8;
const unsigned int LOWEST_BIT_MASK = 0x0F;
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

/// The first byte of [`byte`, `end`) that is not 0, or `end`. Used up stretches are passed a word at a time.
unsigned char* findFreeByte(unsigned char* byte, unsigned char* end)
{
    while (end - byte >= static_cast<ptrdiff_t>(sizeof(size_t)) && loadWord<size_t>(byte) == 0)
        byte += sizeof(size_t);
    while (byte != end && *byte == 0)
        ++byte;
    return byte;
}

/// Most pools fit in 32 bits, and dividing those takes a fraction of the time where a word has more.
uintptr_t divide(uintptr_t offset, unsigned int chunkSize)
{
    return offset <= UINT_MAX ? static_cast<unsigned int>(offset) / chunkSize : offset / chunkSize;
}

uint64_t getBitmapSize(unsigned int chunks)
{
    return (uint64_t(chunks) + BITS_PER_BYTE - 1) / BITS_PER_BYTE;
}

} // namespace

// Made by the compiler: pools may be used before the constructors of static objects have run.
constexpr std::array<unsigned char, 256> MemPoolBase::_bitLookup = makeBitLookup();

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
    const uintptr_t offset = reinterpret_cast<uintptr_t>(chunk) - reinterpret_cast<uintptr_t>(storage);
    const uintptr_t index = chunkSize == 0 ? 0 : divide(offset, chunkSize);
    if (index / BITS_PER_BYTE >= bitmapBytes)
        return bitmap + bitmapBytes;

    unsigned char* const byte = bitmap + index / BITS_PER_BYTE;
    *byte = static_cast<unsigned char>(*byte | 1U << index % BITS_PER_BYTE);
    return byte;
}

unsigned int MemPoolBase::getFreeChunks(const unsigned char* bitmap, unsigned int bitmapBytes)
{
    unsigned int count = 0;
    for (unsigned int i = 0; i < bitmapBytes; ++i)
        count += _bitLookup[bitmap[i]] >> COUNT_SHIFT;
    return count;
}

unsigned char* MemPoolBase::takeLowest(unsigned int chunkSize, unsigned char* storage, const unsigned char* bitmap,
                                       unsigned char* byte)
{
    const size_t index = static_cast<size_t>(byte - bitmap) * BITS_PER_BYTE + (_bitLookup[*byte] & LOWEST_BIT_MASK);
    *byte = static_cast<unsigned char>(*byte & (*byte - 1));
    return storage + chunkSize * index;
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
    unsigned char* const storage =
        size > PTRDIFF_MAX ? nullptr : new (std::nothrow) unsigned char[static_cast<size_t>(size)];
    layOut(storage, storage == nullptr ? 0 : chunkCount);
}

DynamicMemPool::~DynamicMemPool()
{
    if (_ownsStorage)
        delete[] _storage;
}

void* DynamicMemPool::allocate()
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

void DynamicMemPool::release(void* chunk)
{
    _cursor = std::min(_cursor, MemPoolBase::release(_chunkSize, getBitmapBytes(), _storage, _bitmap, chunk));
}

/// Chunks first, their bits behind them, all free.
void DynamicMemPool::layOut(unsigned char* storage, unsigned int chunkCount)
{
    _chunkCount = chunkCount;
    _storage = storage;
    _bitmap = storage + size_t(_chunkSize) * chunkCount;
    _cursor = _bitmap;
    _bitmapEnd = _bitmap + getBitmapSize(chunkCount);
    clear(chunkCount, _bitmap);
}

} // namespace Ostrel
