/// Not installed: internal to the library.
#pragma once

#include <cstdint>

namespace Ostrel {

/// A number of 128 bits.
struct Wide
{
    uint64_t high;
    uint64_t low;
};

inline Wide multiply(uint64_t a, uint64_t b)
{
#ifdef __SIZEOF_INT128__
    __extension__ using Product = unsigned __int128;
    const Product product = static_cast<Product>(a) * b;
    return {static_cast<uint64_t>(product >> 64), static_cast<uint64_t>(product)};
#else
    const uint64_t aHigh = a >> 32;
    const uint64_t aLow = static_cast<uint32_t>(a);
    const uint64_t bHigh = b >> 32;
    const uint64_t bLow = static_cast<uint32_t>(b);
    const uint64_t lowest = aLow * bLow;
    const uint64_t middle = aHigh * bLow + (lowest >> 32); // cannot wrap: (2^32 - 1)^2 + 2^32 - 1 < 2^64
    const uint64_t other = aLow * bHigh + static_cast<uint32_t>(middle);
    return {aHigh * bHigh + (middle >> 32) + (other >> 32), other << 32 | static_cast<uint32_t>(lowest)};
#endif
}

} // namespace Ostrel
