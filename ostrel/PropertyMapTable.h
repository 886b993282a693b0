/// The two searches of a property map's key table: for a key, and for the end of the value area. Not installed.
#pragma once

#include "ostrel/PropertyMapEntry.h"

#if (defined(__SSE2__) || defined(__ARM_NEON)) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define OSTREL_PROPERTY_MAP_VECTOR_SCAN 1
#endif

namespace Ostrel {

/// Where a key is in the key table, or the entry before which it belongs.
struct KeyPosition
{
    unsigned int index;
    bool found;
};

/// Halves the table without a jump that depends on a key: which half it is cannot be predicted.
inline KeyPosition locateKey(const PropertyMap::KeyValuePair* table, unsigned int count, int key)
{
    if (count == 0)
        return {0, false};
    unsigned int index = 0;
    while (count > 1) {
        const unsigned int half = count / 2;
        index += getEntryKey(table + index + half) <= key ? half : 0;
        count -= half;
    }
    const int nearest = getEntryKey(table + index);
    return {index + (nearest < key ? 1 : 0), nearest == key};
}

/// Finds the value with the highest offset. Nothing in the buffer caches it, and every insert needs it, so this is the
/// loop that large maps spend their time in.
///
/// A value's place is one number, its offset in bits 3-30 and its type in bits 0-2, so that the highest place names
/// both. 0 when no entry has a value in the value area.
class PropertyMapScan
{
public:
    PropertyMapScan(const PropertyMap::KeyValuePair* entry, unsigned int count)
    {
#ifdef OSTREL_PROPERTY_MAP_VECTOR_SCAN
        const unsigned int inVectors = count & ~3u;
        scanVectors(entry, inVectors);
        entry += inVectors;
        count -= inVectors;
#endif
        for (; count != 0; --count, ++entry)
            scanEntry(entry);
    }

    bool hasUnknownType() const
    {
        return (_tags & 0xF0) != 0;
    }
    bool hasValue() const
    {
        return _highest != 0;
    }
    uint32_t getOffset() const
    {
        return _highest >> TYPE_BITS;
    }
    PropertyMap_ValueType getType() const
    {
        return static_cast<PropertyMap_ValueType>(_highest & TYPE_MASK);
    }

private:
    static const unsigned int TYPE_BITS = 3;
    static const uint32_t TYPE_MASK = 7;

    // Types from 3 on have their value in the value area, with a long key those from 1 on; 7 never.
    static const uint32_t LAST_INLINE_TYPE = PM_TYPE_FLOAT;

    void scanEntry(const PropertyMap::KeyValuePair* entry)
    {
        const uint32_t tagWord = loadTagWord(entry);
        const uint32_t isLong = tagWord & 1;
        const uint32_t type = tagWord >> 1 & TYPE_MASK;
        const uint32_t offset = isLong != 0 ? tagWord >> 8 : loadEntryWord(entry);
        const uint32_t place = offset << TYPE_BITS | type;
        const bool stored = type > LAST_INLINE_TYPE - 2 * isLong && type != TYPE_MASK;
        _tags |= tagWord;
        if (stored && place > _highest)
            _highest = place;
    }

#ifdef OSTREL_PROPERTY_MAP_VECTOR_SCAN
    typedef uint32_t Words __attribute__((vector_size(16)));
    typedef int32_t Masks __attribute__((vector_size(16)));

    /// The same for four entries a step.
    void scanVectors(const PropertyMap::KeyValuePair* entry, unsigned int count)
    {
        Words tags = {0, 0, 0, 0};
        Masks highest = {0, 0, 0, 0};
        for (const PropertyMap::KeyValuePair* end = entry + count; entry != end; entry += 4) {
            const Words first = loadWord<Words>(entry);
            const Words second = loadWord<Words>(entry + 2);
            const Words tagWord = __builtin_shufflevector(first, second, 0, 2, 4, 6);
            const Words word = __builtin_shufflevector(first, second, 1, 3, 5, 7);
            const Words isLong = -(tagWord & 1);
            const Words type = tagWord >> 1 & TYPE_MASK;
            const Words offset = (tagWord >> 8 & isLong) | (word & ~isLong);
            // Type 7 comes out as 0 and the others one higher; all are small, so signed comparisons will do.
            const Masks rank = (Masks)((type + 1) & TYPE_MASK);
            const Masks stored = rank > (Masks)(LAST_INLINE_TYPE + 1 + isLong + isLong);
            const Masks place = (Masks)(offset << TYPE_BITS | type) & stored;
            const Masks higher = place > highest;
            highest = (place & higher) | (highest & ~higher);
            tags |= tagWord;
        }
        for (unsigned int lane = 0; lane < 4; ++lane) {
            _tags |= tags[lane];
            if (static_cast<uint32_t>(highest[lane]) > _highest)
                _highest = static_cast<uint32_t>(highest[lane]);
        }
    }
#endif

    uint32_t _highest = 0;
    uint32_t _tags = 0;
};

} // namespace Ostrel
