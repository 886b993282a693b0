/// Words at any address: in host order by copying, in a fixed byte order by shifts. The compilers turn each into one
/// access where the processor allows it.
///
/// Units:     each function reads or writes exactly the bytes of its word.
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

/// The first byte is the lowest, whatever the host.
inline uint32_t loadLE32(const void* from)
{
    const unsigned char* bytes = static_cast<const unsigned char*>(from);
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

inline void storeLE32(void* to, uint32_t word)
{
    unsigned char* bytes = static_cast<unsigned char*>(to);
    bytes[0] = static_cast<unsigned char>(word);
    bytes[1] = static_cast<unsigned char>(word >> 8);
    bytes[2] = static_cast<unsigned char>(word >> 16);
    bytes[3] = static_cast<unsigned char>(word >> 24);
}

/// The first byte is the highest, whatever the host.
inline uint32_t loadBE32(const void* from)
{
    const unsigned char* bytes = static_cast<const unsigned char*>(from);
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | static_cast<uint32_t>(bytes[3]);
}

inline uint64_t loadBE64(const void* from)
{
    const unsigned char* bytes = static_cast<const unsigned char*>(from);
    return static_cast<uint64_t>(loadBE32(bytes)) << 32 | loadBE32(bytes + 4);
}

inline void storeBE32(void* to, uint32_t word)
{
    unsigned char* bytes = static_cast<unsigned char*>(to);
    bytes[0] = static_cast<unsigned char>(word >> 24);
    bytes[1] = static_cast<unsigned char>(word >> 16);
    bytes[2] = static_cast<unsigned char>(word >> 8);
    bytes[3] = static_cast<unsigned char>(word);
}

inline void storeBE64(void* to, uint64_t word)
{
    unsigned char* bytes = static_cast<unsigned char*>(to);
    storeBE32(bytes, static_cast<uint32_t>(word >> 32));
    storeBE32(bytes + 4, static_cast<uint32_t>(word));
}

} // namespace Ostrel
