/// Not installed: internal to the library.
///
/// The bytes of a property map's header and key entries, for the sources of the family.
#pragma once

#include <cstring>

#include "ostrel/PropertyMap.h"
#include "ostrel/Unaligned.h"

namespace Ostrel {

/// Header: total size, then the offset of the key table, both in host order.
const uint32_t PROPERTY_MAP_HEADER_SIZE = 8;
const uint32_t PROPERTY_MAP_MAX_SIZE = 0x00FFFFFF; // offsets must fit the 24 bits that long keys leave them
const uint32_t PROPERTY_MAP_ENTRY_SIZE = 8;
const uint32_t PROPERTY_MAP_LENGTH_SIZE = 4;
const unsigned char PROPERTY_MAP_FORM_TRUE = 0x80;

static_assert(sizeof(PropertyMap::KeyValuePair) == PROPERTY_MAP_ENTRY_SIZE && alignof(PropertyMap::KeyValuePair) == 1,
              "entries lie at any address");

/// The header's words as they are, unchecked.
inline uint32_t loadMapSize(const unsigned char* buffer)
{
    return loadU32(buffer);
}

inline void storeMapSize(unsigned char* buffer, uint32_t size)
{
    storeU32(buffer, size);
}

inline uint32_t loadTableOffset(const unsigned char* buffer)
{
    return loadU32(buffer + sizeof(uint32_t));
}

inline void storeTableOffset(unsigned char* buffer, uint32_t offset)
{
    storeU32(buffer + sizeof(uint32_t), offset);
}

/// Keys that fit 24 bits leave their entry a word for the value; all others take that word themselves.
inline bool isShortKey(int key)
{
    return (static_cast<uint32_t>(key) & 0xFF000000u) == 0;
}

// Each of these steps is a few instructions, as a call of it is, which compilers that save space would make. The others
// weigh better what stands around the step.
#ifdef __OPTIMIZE_SIZE__
#define OSTREL_ENTRY_STEP __attribute__((always_inline)) inline
#else
#define OSTREL_ENTRY_STEP inline
#endif

/// One key entry, copied from the table. What `PropertyMap` tells about an entry has the same name here.
struct PropertyMapEntry
{
    OSTREL_ENTRY_STEP explicit PropertyMapEntry(const PropertyMap::KeyValuePair* pair)
        : tag(loadLE32(pair->bytes)), word(loadU32(pair->bytes + 4))
    {}

    /// The key takes the word and leaves the value the 24-bit field.
    OSTREL_ENTRY_STEP bool isLong() const { return (tag & 1) != 0; }
    OSTREL_ENTRY_STEP int getKey() const { return static_cast<int>(isLong() ? word : tag >> 8); }

    /// The value's offset, or the value itself where it is inline.
    OSTREL_ENTRY_STEP uint32_t getValueOffset() const { return isLong() ? tag >> 8 : word; }

    /// Bits 1-7, unchecked.
    unsigned int getRawType() const { return (tag & 0xFF) >> 1; }

    /// A broken type stops the process, in the name of the function that reports it.
    PropertyMap_ValueType getValueType() const
    {
        return getRawType() < PM_MAX_TYPE ? static_cast<PropertyMap_ValueType>(getRawType()) : stopAtBrokenType();
    }

    /// Whether the value lies in the value area: types from double on, and numbers whose key takes the entry's word.
    OSTREL_ENTRY_STEP bool isOffsetStored() const
    {
        const uint32_t STORED = 0x3FE8; // a bit for each value of the entry's first byte
        const uint32_t first = tag & 0xFF;
        return first < 16 && (STORED >> first & 1) != 0;
    }

    /// The low byte of the word and not the byte at offset 4: that is its other end on big-endian hosts.
    bool getBool() const { return isLong() ? getValueOffset() != 0 : (word & 0xFF) != 0; }

    [[gnu::cold, gnu::noinline]] PropertyMap_ValueType stopAtBrokenType() const
    {
        PropertyMap::KeyValuePair pair;
        storeLE32(pair.bytes, tag);
        storeU32(pair.bytes + 4, word);
        return PropertyMap::getValueType(&pair);
    }

    uint32_t tag;  // bytes 0-3: flag, type and a 24-bit field, lowest byte first on every host
    uint32_t word; // bytes 4-7, in host order
};

/// Writes an entry in the form that its key asks for. `value` is what `getValueOffset` gives back.
inline void createKeyValuePairWithOffset(PropertyMap::KeyValuePair* pair, int key, PropertyMap_ValueType type,
                                         uint32_t value)
{
    const uint32_t word = static_cast<uint32_t>(key);
    const uint32_t tag = static_cast<uint32_t>(type) << 1;
    const bool isShort = isShortKey(key);
    storeLE32(pair->bytes, isShort ? word << 8 | tag : value << 8 | tag | 1);
    storeU32(pair->bytes + 4, isShort ? value : word);
}

/// Changes what `getValueOffset` gives, in the form that the entry has.
inline void storeValueOffset(PropertyMap::KeyValuePair* pair, uint32_t value)
{
    if (PropertyMapEntry(pair).isLong())
        storeLE32(pair->bytes, value << 8 | pair->bytes[0]);
    else
        storeU32(pair->bytes + 4, value);
}

/// What a value takes in the value area, length word or terminator included.
inline uint64_t getStoredSize(PropertyMap_ValueType type, const unsigned char* value)
{
    switch (type) {
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        return sizeof(uint32_t);
    case PM_TYPE_DOUBLE:
        return sizeof(uint64_t);
    case PM_TYPE_STRING:
        return strlen(reinterpret_cast<const char*>(value)) + 1;
    case PM_TYPE_BINARY:
    case PM_TYPE_PROPERTY_MAP:
        return static_cast<uint64_t>(loadU32(value)) + PROPERTY_MAP_LENGTH_SIZE;
    default:
        return 0;
    }
}

/// The value as it is stored, in the entry itself or in the value area.
inline const unsigned char* getValueBytes(const unsigned char* buffer, const PropertyMap::KeyValuePair* pair)
{
    const PropertyMapEntry entry(pair);
    return entry.isOffsetStored() ? buffer + entry.getValueOffset() : pair->bytes + 4;
}

} // namespace Ostrel
