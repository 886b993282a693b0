/// Not installed: internal to the library.
///
/// The two searches of a property map's key table: for a key, and for the end of the value area.
#pragma once

#include "ostrel/internal/PropertyMapEntry.h"

#if (defined(__SSE2__) || defined(__ARM_NEON)) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define OSTREL_PROPERTY_MAP_VECTOR_SCAN 1
#endif

namespace Ostrel {

/// The key table of a map whose header has been checked.
struct PropertyMapTable
{
    /// The checks are those of `getNumEntries`, which stops the process in its own name.
    PropertyMapTable(const PropertyMap& map, const unsigned char* buffer)
        : size(loadU32(buffer)), offset(loadU32(buffer + sizeof(uint32_t)))
    {
        if (size - PROPERTY_MAP_HEADER_SIZE > PROPERTY_MAP_MAX_SIZE - PROPERTY_MAP_HEADER_SIZE || offset > size)
            map.getNumEntries();
        entries = reinterpret_cast<const PropertyMap::KeyValuePair*>(buffer + offset);
        count = (size - offset) / PROPERTY_MAP_ENTRY_SIZE;
    }

    uint32_t size; // of the whole buffer
    uint32_t offset;
    const PropertyMap::KeyValuePair* entries;
    unsigned int count;
};

/// Where a key is in the key table, or the entry before which it belongs.
struct KeyPosition
{
    unsigned int index;
    bool found;
};

/// Searches the entries from `low` on. Which half it is cannot be predicted, so nothing jumps on it.
inline KeyPosition halveTable(const PropertyMapTable& table, unsigned int low, unsigned int count, int key)
{
    if (count == 0)
        return {low, false};
    while (count > 1) {
        const unsigned int half = count / 2;
        low += getEntryKey(table.entries + low + half) <= key ? half : 0;
        count -= half;
    }
    const int nearest = getEntryKey(table.entries + low);
    return {low + (nearest < key ? 1 : 0), nearest == key};
}

/// Keys are mostly numbered in steps, and then their place follows from the lowest and the highest one. Keys that are
/// probably absent are better sought with `halveTable`, for which a wrong guess is no detour. The guess is made for
/// tables of short keys only, whose distances a float holds exactly; those are short at both ends.
inline KeyPosition locateKey(const PropertyMapTable& table, int key)
{
    if (table.count == 0)
        return {0, false};
    const unsigned int lastIndex = table.count - 1;
    const uint32_t first = loadTagWord(table.entries);
    const uint32_t last = loadTagWord(table.entries + lastIndex);
    if (((first | last) & 1) != 0 || !isShortKey(key))
        return halveTable(table, 0, table.count, key);

    const uint32_t wanted = static_cast<uint32_t>(key);
    const uint32_t lowest = first >> 8;
    const uint32_t highest = last >> 8;
    if (wanted <= lowest)
        return {0, wanted == lowest};
    if (wanted >= highest)
        return {wanted == highest ? lastIndex : table.count, wanted == highest};
    // Through signed integers, which processors convert to and from floats directly.
    const float distance = static_cast<float>(static_cast<int>(wanted - lowest));
    const float range = static_cast<float>(static_cast<int>(highest - lowest));
    const float expected = distance / range * static_cast<float>(static_cast<int>(lastIndex));
    const float HALF = 0.5f; // to the nearest
    const float rounded = expected + HALF;
    const unsigned int guess = static_cast<unsigned int>(static_cast<int>(rounded));
    const uint32_t there = loadTagWord(table.entries + guess) >> 8;
    if (there == wanted)
        return {guess, true};
    return there < wanted ? halveTable(table, guess, table.count - guess, key) : halveTable(table, 0, guess, key);
}

/// The entry of a key, or null.
inline const PropertyMap::KeyValuePair* findEntry(const PropertyMap& map, const unsigned char* buffer, int key)
{
    const PropertyMapTable table(map, buffer);
    const KeyPosition position = locateKey(table, key);
    return position.found ? table.entries + position.index : nullptr;
}

/// Finds the value with the highest offset. Nothing in the buffer caches it, and every insert needs it, so this is the
/// loop that large maps spend their time in.
///
/// A value's place is one number, its offset in bits 3-30 and its type in bits 0-2, so that the highest place names
/// both. Where no entry has a value in the value area, it is the start of that, with a type that takes no bytes there.
class PropertyMapScan
{
public:
    PropertyMapScan(const PropertyMap::KeyValuePair* entry, unsigned int count)
    {
#ifdef OSTREL_PROPERTY_MAP_VECTOR_SCAN
        // Small tables were mostly just written, and words that are not yet in the cache are not read as vectors.
        const unsigned int inVectors = count < 16 ? 0 : count & ~3u;
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

    uint32_t _highest = PROPERTY_MAP_HEADER_SIZE << TYPE_BITS | PM_TYPE_BOOL;
    uint32_t _tags = 0;
};

/// Where the value area ends and the free space begins.
inline uint32_t findBufferEnd(const PropertyMapTable& table, const unsigned char* buffer)
{
    const PropertyMapScan scan(table.entries, table.count);
    if (scan.hasUnknownType()) {
        for (unsigned int i = 0; i < table.count; ++i)
            getEntryType(table.entries + i); // stops at the broken one
    }
    return scan.getOffset() + getStoredSize(scan.getType(), buffer + scan.getOffset());
}

} // namespace Ostrel
