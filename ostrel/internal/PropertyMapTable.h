/// Not installed: internal to the library.
///
/// The two searches of a property map's key table: for a key, and for the end of the value area.
#pragma once

#include "ostrel/internal/PropertyMapEntry.h"

// GCC has the shuffle from version 12 on.
#if (defined(__SSE2__) || defined(__ARM_NEON)) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ &&                         \
    __has_builtin(__builtin_shufflevector)
#define OSTREL_PROPERTY_MAP_VECTOR_SCAN 1
#endif

namespace Ostrel {

/// The key table of a map whose header has been checked.
struct PropertyMapTable
{
    /// The checks are those of `getNumEntries`, which stops the process in its own name.
    OSTREL_ENTRY_STEP PropertyMapTable(const PropertyMap& map, const unsigned char* buffer)
        : size(loadMapSize(buffer)), offset(loadTableOffset(buffer))
    {
        if (size - PROPERTY_MAP_HEADER_SIZE > PROPERTY_MAP_MAX_SIZE - PROPERTY_MAP_HEADER_SIZE || offset > size)
            map.getNumEntries();
        pairs = reinterpret_cast<const PropertyMap::KeyValuePair*>(buffer + offset);
        count = (size - offset) / PROPERTY_MAP_ENTRY_SIZE;
    }

    OSTREL_ENTRY_STEP int getKey(unsigned int index) const { return PropertyMapEntry(pairs + index).getKey(); }

    uint32_t size; // of the whole buffer
    uint32_t offset;
    const PropertyMap::KeyValuePair* pairs;
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
        low += table.getKey(low + half) <= key ? half : 0;
        count -= half;
    }
    const int nearest = table.getKey(low);
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
    const PropertyMapEntry first(table.pairs);
    const PropertyMapEntry last(table.pairs + lastIndex);
    if (first.isLong() || last.isLong() || !isShortKey(key))
        return halveTable(table, 0, table.count, key);

    const uint32_t wanted = static_cast<uint32_t>(key);
    const uint32_t lowest = first.tag >> 8;
    const uint32_t highest = last.tag >> 8;
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
    const uint32_t there = PropertyMapEntry(table.pairs + guess).tag >> 8;
    if (there == wanted)
        return {guess, true};
    return there < wanted ? halveTable(table, guess, table.count - guess, key) : halveTable(table, 0, guess, key);
}

/// The entry of a key, or null.
inline const PropertyMap::KeyValuePair* findEntry(const PropertyMap& map, const unsigned char* buffer, int key)
{
    const PropertyMapTable table(map, buffer);
    const KeyPosition position = locateKey(table, key);
    return position.found ? table.pairs + position.index : nullptr;
}

/// Finds the value with the highest offset. Nothing in the buffer caches it, and every insert needs it, so this is the
/// loop that large maps spend their time in.
///
/// A value's place is one number, its offset above and its type in bits 1-3, so that the highest place names both. The
/// lower four bits are those of the entry.
/// Where no entry has a value in the value area, it is the start of that, with a type that takes no bytes there.
class PropertyMapScan
{
public:
    PropertyMapScan(const PropertyMap::KeyValuePair* pairs, unsigned int count)
    {
        const PropertyMap::KeyValuePair* pair = pairs;
        const PropertyMap::KeyValuePair* const end = pairs + count;
#ifdef OSTREL_PROPERTY_MAP_VECTOR_SCAN
        // Small tables were mostly just written, and words that are not yet in the cache are not read as vectors.
        if (count >= 16)
            pair = scanVectors(pair, count & ~3u);
#endif
        scanEntries(pair, end);
        // No buffer is so large; but what a broken entry holds must not wrap to a place inside.
        _place = _offsets < OFFSET_LIMIT ? _highest : scanBroken(pairs, count);
    }

    bool hasUnknownType() const
    {
        return (_tags & 0xF0) != 0;
    }
    uint32_t getOffset() const
    {
        return static_cast<uint32_t>(_place >> TYPE_BITS);
    }
    PropertyMap_ValueType getType() const
    {
        return static_cast<PropertyMap_ValueType>(_place >> 1 & TYPE_MASK);
    }

private:
    static const unsigned int TYPE_BITS = 4;
    static const uint32_t TYPE_BITS_MASK = 15;
    static const uint32_t TYPE_MASK = 7;

    // Below it, places are positive as signed 32-bit numbers, which are what vectors compare.
    static const uint32_t OFFSET_LIMIT = 1u << (31 - TYPE_BITS);

    // Types from 3 on have their value in the value area, with a long key those from 1 on; 7 never.
    static const uint32_t LAST_INLINE_TYPE = PM_TYPE_FLOAT;

    void scanEntries(const PropertyMap::KeyValuePair* pair, const PropertyMap::KeyValuePair* end)
    {
        // Copies, which stay in registers.
        uint32_t highest = _highest;
        uint32_t tags = _tags;
        uint32_t offsets = _offsets;
        for (; pair != end; ++pair) {
            const PropertyMapEntry entry(pair);
            const uint32_t isLong = entry.tag & 1;
            const uint32_t type = entry.tag >> 1 & TYPE_MASK;
            const bool stored = type > LAST_INLINE_TYPE - 2 * isLong && type != TYPE_MASK;
            const uint32_t offset = stored ? entry.getValueOffset() : 0;
            const uint32_t place =
                offset << TYPE_BITS | (entry.tag & TYPE_BITS_MASK); // below the start where nothing is stored
            tags |= entry.tag;
            offsets |= offset;
            if (place > highest)
                highest = place;
        }
        _highest = highest;
        _tags = tags;
        _offsets = offsets;
    }

    [[gnu::cold, gnu::noinline]] static uint64_t scanBroken(const PropertyMap::KeyValuePair* pair, unsigned int count)
    {
        uint64_t highest = START;
        for (; count != 0; --count, ++pair) {
            const PropertyMapEntry entry(pair);
            const uint64_t place =
                static_cast<uint64_t>(entry.getValueOffset()) << TYPE_BITS | (entry.tag & TYPE_BITS_MASK);
            if (entry.isOffsetStored() && place > highest)
                highest = place;
        }
        return highest;
    }

#ifdef OSTREL_PROPERTY_MAP_VECTOR_SCAN
    typedef uint32_t Words __attribute__((vector_size(16)));
    typedef int32_t Masks __attribute__((vector_size(16)));

    static uint32_t joinLanes(const Words& words)
    {
        return words[0] | words[1] | words[2] | words[3];
    }

    /// The same as `scanEntries`, four a step.
    const PropertyMap::KeyValuePair* scanVectors(const PropertyMap::KeyValuePair* pair, unsigned int count)
    {
        static_assert(LAST_INLINE_TYPE == 2 && TYPE_MASK == 7, "the ranks below are made for these");
        Words tags = {0, 0, 0, 0};
        Words offsets = {0, 0, 0, 0};
        Masks highest = {0, 0, 0, 0};
        for (const PropertyMap::KeyValuePair* end = pair + count; pair != end; pair += 4) {
            const Words first = loadWord<Words>(pair);
            const Words second = loadWord<Words>(pair + 2);
            const Words tagWord = __builtin_shufflevector(first, second, 0, 2, 4, 6);
            const Words word = __builtin_shufflevector(first, second, 1, 3, 5, 7);
            const Words isLong = (Words)((Masks)(tagWord << 31) >> 31);
            // Twice the type, with 7 as 0 and the others one higher: stored from 8 on, with a long key from 4 on.
            const Words rank = (tagWord + 2) & 14;
            const Masks stored = (Masks)(rank + (isLong & 4)) > 7;
            const Words offset = ((tagWord >> 8 & isLong) | (word & ~isLong)) & (Words)stored;
            const Masks place = (Masks)(offset << TYPE_BITS | (tagWord & TYPE_BITS_MASK));
            const Masks higher = place > highest;
            highest = (place & higher) | (highest & ~higher);
            tags |= tagWord;
            offsets |= offset;
        }
        _tags = joinLanes(tags);
        _offsets = joinLanes(offsets);
        for (unsigned int lane = 0; lane < 4; ++lane) {
            if (static_cast<uint32_t>(highest[lane]) > _highest)
                _highest = static_cast<uint32_t>(highest[lane]);
        }
        return pair;
    }
#endif

    static const uint32_t START = PROPERTY_MAP_HEADER_SIZE << TYPE_BITS | PM_TYPE_BOOL << 1;

    uint64_t _place;
    uint32_t _highest = START;
    uint32_t _tags = 0;    // all bits that occur in the entries' first words
    uint32_t _offsets = 0; // and in the offsets of values in the value area
};

/// Where the value area ends and the free space begins. In a broken map that may be behind the key table's start, even
/// behind the buffer.
#ifndef __OPTIMIZE_SIZE__
__attribute__((always_inline)) // with few keys the call weighs as much as the search
#endif
inline uint64_t
findBufferEnd(const PropertyMapTable& table, const unsigned char* buffer)
{
    const PropertyMapScan scan(table.pairs, table.count);
    if (scan.hasUnknownType()) {
        for (unsigned int i = 0; i < table.count; ++i)
            PropertyMapEntry(table.pairs + i).getValueType(); // stops at the broken one
    }
    const uint64_t offset = scan.getOffset();
    // Nothing to read a length from: its first byte is behind the end already.
    if (offset >= table.offset && scan.getType() >= PM_TYPE_STRING)
        return offset + 1;
    return offset + getStoredSize(scan.getType(), buffer + offset);
}

} // namespace Ostrel
