#include "ostrel/HeapStack.h"

#include <cstdio>

namespace Ostrel {

void HeapStack::init(unsigned char* buffer, unsigned int size)
{
    _buffer = buffer;
    _size = buffer == nullptr ? 0 : size;
    clear();
}

void HeapStack::clear()
{
    if (!isUsable())
        return;

    storeU32(_buffer, _size - MINIMUM_SIZE);
    storeU32(_buffer + _size - WORD_SIZE, _size - MINIMUM_SIZE);
}

void HeapStack::validate(unsigned char* block) const
{
    if (block == nullptr)
        return;

    // 64 bits: an address anywhere below the buffer and a size of any value must not wrap.
    const int64_t end = _size;
    const int64_t offset = static_cast<int64_t>(reinterpret_cast<uintptr_t>(block)) -
                           static_cast<int64_t>(reinterpret_cast<uintptr_t>(_buffer));
    // The upper bound is too tight for a first block of fewer than 4 bytes: see docs/compatibility.md.
    const bool isOutside = offset < FIRST_DATA || offset > end - MINIMUM_SIZE;
    if (isOutside)
        printf("Libostrel-HeapStack::validate() failed ! ptr=%p outside the HeapStack Pool\n",
               static_cast<void*>(block));
    if (offset < HEADER_SIZE || offset > end)
        return;

    // A size that leads out of the buffer has no trailer to be compared with; it counts as 0, so as different.
    const unsigned int size = loadU32(block - WORD_SIZE);
    const bool hasTrailer = offset + size + WORD_SIZE <= end;
    const unsigned int trailer = hasTrailer ? loadU32(block + size) : 0;
    if (size != trailer && (hasTrailer || !isOutside))
        printf("Libostrel-HeapStack::validate() failed ! Side1ptr=%p, Side2ptr=%p,  side1Size=%d != side2Side=%d \n",
               static_cast<void*>(block - HEADER_SIZE), static_cast<void*>(block + size), static_cast<int>(size),
               static_cast<int>(trailer));
}

} // namespace Ostrel
