/// Not installed: internal to the library.
///
/// The smallest steps on UTF-8 bytes, inlined.
#pragma once

#include <cstddef>

#include "ostrel/StringUtils.h"
#include "ostrel/Unaligned.h"

namespace Ostrel {

/// A machine word of text, each byte worked on by itself.
typedef size_t Lanes;
const Lanes LANE_ONES = ~Lanes(0) / 0xFF;

inline bool isContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/// The first byte from `p` on that is no continuation byte; the terminator is none.
__attribute__((always_inline)) inline const char* skipContinuation(const char* p)
{
    while (isContinuation(*p))
        ++p;
    return p;
}

inline int getSequenceLength(char lead)
{
    return CHAR_LEN_TABLE[static_cast<unsigned char>(lead)];
}

/// Bytes of the longest prefix of whole characters within `maxBytes`.
inline unsigned int getFittingLength(const char* text, unsigned int maxBytes)
{
    const char* const end = calculateTruncationPoint(text, maxBytes);
    return end == nullptr ? 0 : static_cast<unsigned int>(end - text);
}

} // namespace Ostrel
