/// Words at any address: in host order by copying, in a fixed byte order by turning the copy where the host's is the
/// other. The compilers make one access of each where the processor allows it.
///
/// Units:     each function reads or writes exactly the bytes of its word.
#pragma once

#include <cstdint>
#include <cstring>
#include <endian.h>

namespace Ostrel {

/// A word of any type.
template <class Word>
inline Word loadWord(const void* from)
{
    Word word;
    memcpy(&word, from, sizeof(word));
    return word;
}

/// A word of any type.
template <class Word>
inline void storeWord(void* to, Word word)
{
    memcpy(to, &word, sizeof(word));
}

/// Host order.
inline uint16_t loadU16(const void* from)
{
    return loadWord<uint16_t>(from);
}

/// Host order.
inline uint32_t loadU32(const void* from)
{
    return loadWord<uint32_t>(from);
}

/// Host order.
inline uint64_t loadU64(const void* from)
{
    return loadWord<uint64_t>(from);
}

/// Host order.
inline void storeU16(void* to, uint16_t word)
{
    storeWord(to, word);
}

/// Host order.
inline void storeU32(void* to, uint32_t word)
{
    storeWord(to, word);
}

/// Host order.
inline void storeU64(void* to, uint64_t word)
{
    storeWord(to, word);
}

/// The first byte is the lowest, whatever the host.
inline uint32_t loadLE32(const void* from)
{
    return le32toh(loadU32(from));
}

/// The lowest byte first.
inline void storeLE32(void* to, uint32_t word)
{
    storeU32(to, htole32(word));
}

/// The first byte is the highest, whatever the host.
inline uint32_t loadBE32(const void* from)
{
    return be32toh(loadU32(from));
}

/// The highest byte first.
inline uint64_t loadBE64(const void* from)
{
    return be64toh(loadU64(from));
}

/// The highest byte first.
inline void storeBE32(void* to, uint32_t word)
{
    storeU32(to, htobe32(word));
}

/// The highest byte first.
inline void storeBE64(void* to, uint64_t word)
{
    storeU64(to, htobe64(word));
}

} // namespace Ostrel
