/// Words at any address: in host order by copying, big-endian by shifts. The compilers turn each into one access where
/// the processor allows it.
///
/// Units:     each function reads or writes exactly the bytes of its word.
/// Ownership: none taken.
/// Errors:    none; the bytes must exist.
/// Threads:   plain memory accesses.
#pragma once

#include <cstdint>
#include <cstring>

namespace Ostrel {

template <class Word>
inline Word loadWord(const void* from)
{
    Word word;
    memcpy(&word, from, sizeof(word));
    return word;
}

template <class Word>
inline void storeWord(void* to, Word word)
{
    memcpy(to, &word, sizeof(word));
}

inline uint16_t loadU16(const void* from)
{
    return loadWord<uint16_t>(from);
}

inline uint32_t loadU32(const void* from)
{
    return loadWord<uint32_t>(from);
}

inline uint64_t loadU64(const void* from)
{
    return loadWord<uint64_t>(from);
}

inline void storeU16(void* to, uint16_t word)
{
    storeWord(to, word);
}

inline void storeU32(void* to, uint32_t word)
{
    storeWord(to, word);
}

inline void storeU64(void* to, uint64_t word)
{
    storeWord(to, word);
}

} // namespace Ostrel
