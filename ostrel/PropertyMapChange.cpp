#include "ostrel/PropertyMap.h"

#include <cstring>

#include "ostrel/internal/PropertyMapTable.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): the class is global, its helpers are not

namespace {

/// Toward lower addresses; the two places may overlap.
inline void moveEntries(PropertyMap::KeyValuePair* to, const PropertyMap::KeyValuePair* from, unsigned int count)
{
    const unsigned int FEW = 8; // cheaper than a call
    if (count > FEW) {
        memmove(to, from, count * sizeof(*to));
        return;
    }
    for (; count != 0; --count)
        *to++ = *from++;
}

} // namespace

PropertyMap_ReturnCode PropertyMap::getInsertionPoint(int key, uint64_t valueSize, InsertionPoint* point) const
{
    const PropertyMapTable table(*this, _buffer);
    const KeyPosition position = halveTable(table, 0, table.count, key);
    if (position.found)
        return PM_RC_KEY_EXISTS;
    // 64 bits: the sum with a caller's length must not wrap.
    const uint64_t bufferEnd = findBufferEnd(table, _buffer);
    if (table.offset < bufferEnd + valueSize + PROPERTY_MAP_ENTRY_SIZE)
        return PM_RC_NO_SPACE;
    *point = {position.index, static_cast<uint32_t>(bufferEnd)};
    return PM_RC_OK;
}

void PropertyMap::insertKeyEntryTable(unsigned int index, int key, PropertyMap_ValueType type, uint32_t value)
{
    const uint32_t offset = loadTableOffset(_buffer) - PROPERTY_MAP_ENTRY_SIZE;
    KeyValuePair* table = reinterpret_cast<KeyValuePair*>(_buffer + offset);
    moveEntries(table, table + 1, index);
    createKeyValuePairWithOffset(table + index, key, type, value);
    storeTableOffset(_buffer, offset);
}

template <class Value>
PropertyMap_ReturnCode PropertyMap::insertPrimitiveValue(int key, Value value, PropertyMap_ValueType type)
{
    static_assert(sizeof(Value) == sizeof(uint32_t), "fits the entry's word");
    const bool isInline = isShortKey(key);
    InsertionPoint point;
    const PropertyMap_ReturnCode code = getInsertionPoint(key, isInline ? 0 : sizeof(Value), &point);
    if (code != PM_RC_OK)
        return code;
    const uint32_t bits = loadU32(&value);
    if (!isInline)
        storeU32(_buffer + point.valueOffset, bits);
    insertKeyEntryTable(point.index, key, type, isInline ? bits : point.valueOffset);
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::insert(int key, int value)
{
    return insertPrimitiveValue(key, value, PM_TYPE_INT);
}

PropertyMap_ReturnCode PropertyMap::insert(int key, float value)
{
    return insertPrimitiveValue(key, value, PM_TYPE_FLOAT);
}

PropertyMap_ReturnCode PropertyMap::insert(int key, bool value)
{
    InsertionPoint point;
    const PropertyMap_ReturnCode code = getInsertionPoint(key, 0, &point);
    if (code == PM_RC_OK) {
        // The entry alone holds it, whatever the key: a long key's 24-bit field is then the value and no offset.
        insertKeyEntryTable(point.index, key, PM_TYPE_BOOL, value ? 1 : 0);
    }
    return code;
}

PropertyMap_ReturnCode PropertyMap::insert(int key, double value)
{
    InsertionPoint point;
    const PropertyMap_ReturnCode code = getInsertionPoint(key, sizeof(value), &point);
    if (code != PM_RC_OK)
        return code;
    storeWord(_buffer + point.valueOffset, value);
    insertKeyEntryTable(point.index, key, PM_TYPE_DOUBLE, point.valueOffset);
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::insert(int key, const char* text)
{
    const size_t size = strlen(text) + 1;
    InsertionPoint point;
    const PropertyMap_ReturnCode code = getInsertionPoint(key, size, &point);
    if (code != PM_RC_OK)
        return code;
    memcpy(_buffer + point.valueOffset, text, size);
    insertKeyEntryTable(point.index, key, PM_TYPE_STRING, point.valueOffset);
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::insert(int key, const unsigned char* data, unsigned int length)
{
    return insert(key, data, length, PM_TYPE_BINARY);
}

PropertyMap_ReturnCode PropertyMap::insert(int key, const PropertyMap& other)
{
    return insert(key, other._buffer, other.getSize(), PM_TYPE_PROPERTY_MAP);
}

PropertyMap_ReturnCode PropertyMap::insert(int key, const unsigned char* data, unsigned int length,
                                           PropertyMap_ValueType type)
{
    InsertionPoint point;
    const uint64_t size = static_cast<uint64_t>(length) + PROPERTY_MAP_LENGTH_SIZE;
    const PropertyMap_ReturnCode code = getInsertionPoint(key, size, &point);
    if (code != PM_RC_OK)
        return code;
    writeBinaryValue(point.valueOffset, data, length);
    insertKeyEntryTable(point.index, key, type, point.valueOffset);
    return PM_RC_OK;
}

void PropertyMap::writeBinaryValue(uint32_t offset, const unsigned char* data, unsigned int length)
{
    storeU32(_buffer + offset, length);
    if (data != nullptr && length != 0)
        memcpy(_buffer + offset + PROPERTY_MAP_LENGTH_SIZE, data, length);
}

PropertyMap_ReturnCode PropertyMap::findEntryOfType(int key, PropertyMap_ValueType type, KeyValuePair** entry) const
{
    const PropertyMapTable table(*this, _buffer);
    const KeyPosition position = locateKey(table, key);
    if (!position.found)
        return PM_RC_KEY_NOT_FOUND;
    *entry = reinterpret_cast<KeyValuePair*>(_buffer + table.offset) + position.index;
    return PropertyMapEntry(*entry).getValueType() == type ? PM_RC_OK : PM_RC_TYPE_MISMATCH;
}

template <class Value>
PropertyMap_ReturnCode PropertyMap::setPrimitiveValue(int key, PropertyMap_ValueType type, Value value)
{
    KeyValuePair* entry;
    const PropertyMap_ReturnCode code = findEntryOfType(key, type, &entry);
    if (code != PM_RC_OK)
        return code;
    const PropertyMapEntry found(entry);
    storeWord(found.isOffsetStored() ? _buffer + found.getValueOffset() : entry->bytes + 4, value);
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::set(int key, int value)
{
    return setPrimitiveValue(key, PM_TYPE_INT, value);
}

PropertyMap_ReturnCode PropertyMap::set(int key, float value)
{
    return setPrimitiveValue(key, PM_TYPE_FLOAT, value);
}

PropertyMap_ReturnCode PropertyMap::set(int key, double value)
{
    return setPrimitiveValue(key, PM_TYPE_DOUBLE, value);
}

PropertyMap_ReturnCode PropertyMap::set(int key, bool value)
{
    KeyValuePair* entry;
    const PropertyMap_ReturnCode code = findEntryOfType(key, PM_TYPE_BOOL, &entry);
    if (code == PM_RC_OK)
        storeValueOffset(entry, value ? 1 : 0);
    return code;
}

PropertyMap_ReturnCode PropertyMap::set(int key, const char* text)
{
    KeyValuePair* entry;
    PropertyMap_ReturnCode code = findEntryOfType(key, PM_TYPE_STRING, &entry);
    if (code != PM_RC_OK)
        return code;
    const size_t size = strlen(text) + 1;
    code = resizeValue(entry, size);
    if (code == PM_RC_OK)
        memcpy(_buffer + PropertyMapEntry(entry).getValueOffset(), text, size);
    return code;
}

PropertyMap_ReturnCode PropertyMap::set(int key, const unsigned char* data, unsigned int length)
{
    return set(key, data, length, PM_TYPE_BINARY);
}

PropertyMap_ReturnCode PropertyMap::set(int key, const PropertyMap& other)
{
    return set(key, other._buffer, other.getSize(), PM_TYPE_PROPERTY_MAP);
}

PropertyMap_ReturnCode PropertyMap::set(int key, const unsigned char* data, unsigned int length,
                                        PropertyMap_ValueType type)
{
    KeyValuePair* entry;
    PropertyMap_ReturnCode code = findEntryOfType(key, type, &entry);
    if (code != PM_RC_OK)
        return code;
    if (type != PM_TYPE_BINARY && type != PM_TYPE_PROPERTY_MAP)
        return PM_RC_TYPE_MISMATCH; // what these entries hold need not even be an offset
    code = resizeValue(entry, static_cast<uint64_t>(length) + PROPERTY_MAP_LENGTH_SIZE);
    if (code == PM_RC_OK)
        writeBinaryValue(PropertyMapEntry(entry).getValueOffset(), data, length);
    return code;
}

/// Makes room for `newSize` bytes at the value's place, which stays, and moves what follows.
PropertyMap_ReturnCode PropertyMap::resizeValue(const KeyValuePair* pair, uint64_t newSize)
{
    const PropertyMapEntry entry(pair);
    const uint32_t valueOffset = entry.getValueOffset();
    const uint32_t oldSize = getValueSize(entry.getValueType(), valueOffset);
    if (newSize == oldSize)
        return PM_RC_OK;
    if (newSize > oldSize && getEmptySpace() < newSize - oldSize)
        return PM_RC_NO_SPACE;

    const uint32_t size = static_cast<uint32_t>(newSize);
    const bool grows = size > oldSize;
    const uint32_t by = grows ? size - oldSize : oldSize - size;
    const uint32_t end = adjustOffset(valueOffset, by, grows ? INCREASE : DECREASE);
    const uint32_t following = valueOffset + oldSize;
    if (end <= following)
        return PM_RC_OK; // what a shorter last value leaves behind is not cleared: see docs/compatibility.md
    memmove(_buffer + valueOffset + size, _buffer + following, end - following);
    if (!grows)
        memset(_buffer + end - by, 0, by);
    return PM_RC_OK;
}

/// Shifts the offsets of all values behind the one at `valueOffset`. Returns where the value area ended before.
uint32_t PropertyMap::adjustOffset(uint32_t valueOffset, uint32_t by, Adjustment adjustment)
{
    // Bytes up to here will be moved: where a value reaches into the key table, this stops.
    const uint32_t end = getKeyTableOffset() - getEmptySpace();
    KeyValuePair* pair = entryAt(0);
    for (unsigned int left = getNumEntries(); left != 0; --left, ++pair) {
        const PropertyMapEntry entry(pair);
        const uint32_t offset = entry.getValueOffset();
        if (offset > valueOffset && entry.isOffsetStored())
            resetOffset(pair, adjustment == INCREASE ? offset + by : offset - by);
    }
    return end;
}

PropertyMap_ReturnCode PropertyMap::removeKey(int key)
{
    const int index = findKey(key);
    if (index < 0)
        return PM_RC_KEY_NOT_FOUND;

    const PropertyMapEntry entry(entryAt(static_cast<unsigned int>(index)));
    const PropertyMap_ValueType type = entry.getValueType();
    if (entry.isOffsetStored()) {
        const uint32_t valueOffset = entry.getValueOffset();
        const uint32_t size = getValueSize(type, valueOffset);
        const uint32_t end = adjustOffset(valueOffset, size, DECREASE);
        const uint32_t following = valueOffset + size;
        if (end > following)
            memmove(_buffer + valueOffset, _buffer + following, end - following);
        memset(_buffer + end - size, 0, size);
    }

    const uint32_t tableOffset = getKeyTableOffset();
    unsigned char* table = _buffer + tableOffset;
    memmove(table + sizeof(KeyValuePair), table, static_cast<size_t>(index) * sizeof(KeyValuePair));
    memset(table, 0, sizeof(KeyValuePair));
    setKeyTableOffset(tableOffset + PROPERTY_MAP_ENTRY_SIZE);
    return PM_RC_OK;
}

void PropertyMap::removeAll()
{
    if (getNumEntries() != 0)
        setKeyTableOffset(getSize());
}
