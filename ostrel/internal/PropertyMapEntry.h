/// Not installed: internal to the library.
///
/// The bytes of a property map's header and key entries, for the sources of the family.
#pragma once

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

/// Keys that fit 24 bits leave their entry a word for the value; all others take that word themselves.
inline bool isShortKey(int key)
{
    return (static_cast<uint32_t>(key) & 0xFF000000u) == 0;
}

/// The entry's bytes 0-3: flag, type and a 24-bit field, lowest byte first on every host.
inline uint32_t loadTagWord(const PropertyMap::KeyValuePair* entry)
{
    return loadLE32(entry->bytes);
}

/// The entry's bytes 4-7, in host order.
inline uint32_t loadEntryWord(const PropertyMap::KeyValuePair* entry)
{
    return loadU32(entry->bytes + 4);
}

inline bool isLongEntry(const PropertyMap::KeyValuePair* entry)
{
    return (entry->bytes[0] & 1) != 0;
}

/// `value` is what `getEntryValue` gives back.
inline void createKeyValuePairWithOffset(PropertyMap::KeyValuePair* entry, int key, PropertyMap_ValueType type,
                                         uint32_t value)
{
    const uint32_t word = static_cast<uint32_t>(key);
    const uint32_t tag = static_cast<uint32_t>(type) << 1;
    const bool isShort = isShortKey(key);
    storeLE32(entry->bytes, isShort ? word << 8 | tag : value << 8 | tag | 1);
    storeU32(entry->bytes + 4, isShort ? value : word);
}

/// Bits 1-7 of byte 0, unchecked.
inline unsigned int getRawType(const PropertyMap::KeyValuePair* entry)
{
    return entry->bytes[0] >> 1;
}

/// The same; a broken type stops the process where `getValueType` reports it.
inline PropertyMap_ValueType getEntryType(const PropertyMap::KeyValuePair* entry)
{
    const unsigned int type = getRawType(entry);
    return type < PM_MAX_TYPE ? static_cast<PropertyMap_ValueType>(type) : PropertyMap::getValueType(entry);
}

/// What a value takes in the value area, length word or terminator included.
inline uint32_t getStoredSize(PropertyMap_ValueType type, const unsigned char* value)
{
    switch (type) {
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        return sizeof(uint32_t);
    case PM_TYPE_DOUBLE:
        return sizeof(uint64_t);
    case PM_TYPE_STRING:
        return static_cast<uint32_t>(strlen(reinterpret_cast<const char*>(value))) + 1;
    case PM_TYPE_BINARY:
    case PM_TYPE_PROPERTY_MAP:
        return loadU32(value) + PROPERTY_MAP_LENGTH_SIZE;
    default:
        return 0;
    }
}

inline int getEntryKey(const PropertyMap::KeyValuePair* entry)
{
    const uint32_t tagWord = loadTagWord(entry);
    return static_cast<int>((tagWord & 1) != 0 ? loadEntryWord(entry) : tagWord >> 8);
}

/// The value's offset, or the value itself where it is inline.
inline uint32_t getEntryValue(const PropertyMap::KeyValuePair* entry)
{
    const uint32_t tagWord = loadTagWord(entry);
    return (tagWord & 1) != 0 ? tagWord >> 8 : loadEntryWord(entry);
}

/// Whether the value lies in the value area: types from double on, and numbers whose key takes the entry's word. One
/// bit for each value of the entry's first byte.
inline bool isEntryOffsetStored(const PropertyMap::KeyValuePair* entry)
{
    const uint32_t STORED = 0x3FE8;
    return entry->bytes[0] < 16 && (STORED >> entry->bytes[0] & 1) != 0;
}

/// The value as it is stored, in the entry itself or in the value area.
inline const unsigned char* getEntryValueBytes(const unsigned char* buffer, const PropertyMap::KeyValuePair* entry)
{
    return isEntryOffsetStored(entry) ? buffer + getEntryValue(entry) : entry->bytes + 4;
}

inline bool getEntryBool(const PropertyMap::KeyValuePair* entry)
{
    // The word and not the byte at offset 4: that is the other end of the word on big-endian hosts.
    return isLongEntry(entry) ? getEntryValue(entry) != 0 : (loadEntryWord(entry) & 0xFF) != 0;
}

} // namespace Ostrel
