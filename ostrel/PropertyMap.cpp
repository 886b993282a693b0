#include "ostrel/PropertyMap.h"

#include "ostrel/Assert.h"
#include "ostrel/internal/PropertyMapTable.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): the class is global, its helpers are not

PropertyMap::PropertyMap(unsigned char* buffer, unsigned int size) : _buffer(buffer)
{
    OSTREL_ASSERT_TEXT(size >= 8 && size <= 0x00FFFFFF, "size >= 8 && size <= 0x00FFFFFF");
    storeMapSize(_buffer, size);
    setKeyTableOffset(size);
}

PropertyMap::~PropertyMap() = default;

uint32_t PropertyMap::getSize() const
{
    const uint32_t size = loadMapSize(_buffer);
    OSTREL_ASSERT_TEXT(size >= 8 && size <= 0x00FFFFFF, "size >= 8 && size <= 0x00FFFFFF");
    return size;
}

uint32_t PropertyMap::getKeyTableOffset() const
{
    return loadTableOffset(_buffer);
}

void PropertyMap::setKeyTableOffset(uint32_t offset)
{
    OSTREL_ASSERT_TEXT(offset >= 2 * sizeof(uint32_t) && offset <= getSize(),
                       "offset >= 2 * sizeof(uint32_t) && offset <= getSize()");
    storeTableOffset(_buffer, offset);
}

unsigned int PropertyMap::getNumEntries() const
{
    const uint32_t size = getSize();
    const uint32_t keyoffset = getKeyTableOffset();
    OSTREL_ASSERT_TEXT(size >= keyoffset, "size >= keyoffset");
    return (size - keyoffset) / PROPERTY_MAP_ENTRY_SIZE;
}

const PropertyMap::KeyValuePair* PropertyMap::getKeyTableEntry() const
{
    return entryAt(0);
}

PropertyMap::KeyValuePair* PropertyMap::entryAt(unsigned int index) const
{
    return reinterpret_cast<KeyValuePair*>(_buffer + getKeyTableOffset()) + index;
}

uint32_t PropertyMap::getBufferEnd() const
{
    return static_cast<uint32_t>(findBufferEnd(PropertyMapTable(*this, _buffer), _buffer));
}

uint32_t PropertyMap::getEmptySpace() const
{
    const PropertyMapTable table(*this, _buffer);
    const uint32_t keyOffset = table.offset;
    const uint64_t bufferEnd = findBufferEnd(table, _buffer);
    OSTREL_ASSERT_TEXT(keyOffset >= bufferEnd, "keyOffset >= bufferEnd");
    return keyOffset - static_cast<uint32_t>(bufferEnd);
}

uint32_t PropertyMap::getValueSize(PropertyMap_ValueType type, unsigned int offset) const
{
    return static_cast<uint32_t>(getStoredSize(type, _buffer + offset));
}

int PropertyMap::getKey(const KeyValuePair* entry)
{
    return PropertyMapEntry(entry).getKey();
}

PropertyMap_ValueType PropertyMap::getValueType(const KeyValuePair* entry)
{
    const unsigned int type = PropertyMapEntry(entry).getRawType();
    OSTREL_ASSERT_TEXT(type < PM_MAX_TYPE, "type < PM_MAX_TYPE");
    return static_cast<PropertyMap_ValueType>(type);
}

uint32_t PropertyMap::getValueOffset(const KeyValuePair* entry)
{
    return PropertyMapEntry(entry).getValueOffset();
}

bool PropertyMap::isOffsetStored(const KeyValuePair* entry)
{
    getValueType(entry); // for its check
    return PropertyMapEntry(entry).isOffsetStored();
}

/// The nested map as it lies in the buffer, behind its length word.
PropertyMap PropertyMap::getNestedMap(const KeyValuePair* entry) const
{
    return PropertyMap(_buffer + getValueOffset(entry) + PROPERTY_MAP_LENGTH_SIZE);
}

uint32_t PropertyMap::getUnusedSpace() const
{
    uint32_t unused = getEmptySpace();
    const KeyValuePair* entry = getKeyTableEntry();
    for (unsigned int left = getNumEntries(); left != 0; --left, ++entry) {
        if (PropertyMapEntry(entry).getValueType() == PM_TYPE_PROPERTY_MAP)
            unused += getNestedMap(entry).getUnusedSpace();
    }
    return unused;
}

int PropertyMap::findKey(int key) const
{
    const KeyPosition position = locateKey(PropertyMapTable(*this, _buffer), key);
    return position.found ? static_cast<int>(position.index) : -1;
}

bool PropertyMap::hasKey(int key) const
{
    return findKey(key) >= 0;
}

void PropertyMap::resetOffset(KeyValuePair* pair, uint32_t offset)
{
    storeValueOffset(pair, offset);
    OSTREL_ASSERT_TEXT(offset == getValueOffset(pair), "offset == getValueOffset(pair)");
}

PropertyMap_ReturnCode PropertyMap::getKeyType(int key, PropertyMap_ValueType* type) const
{
    const KeyValuePair* entry = findEntry(*this, _buffer, key);
    if (entry == nullptr)
        return PM_RC_KEY_NOT_FOUND;
    *type = getValueType(entry);
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::getAllKeys(int* keys, unsigned int maxKeys, unsigned int* numKeys) const
{
    const unsigned int count = getNumEntries();
    const unsigned int fitting = count < maxKeys ? count : maxKeys;
    const KeyValuePair* table = getKeyTableEntry();
    for (unsigned int i = 0; i < fitting; ++i)
        keys[i] = PropertyMapEntry(table + i).getKey();
    *numKeys = fitting;
    return fitting < count ? PM_RC_BUFFER_TOO_SMALL : PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::getStringBufferSize(int key, unsigned int* size) const
{
    const KeyValuePair* entry = findEntry(*this, _buffer, key);
    return entry == nullptr ? PM_RC_KEY_NOT_FOUND : getStringBufferSize(entry, size);
}

PropertyMap_ReturnCode PropertyMap::getStringBufferSize(const KeyValuePair* entry, unsigned int* size) const
{
    if (getValueType(entry) != PM_TYPE_STRING)
        return PM_RC_TYPE_MISMATCH;
    *size = getValueSize(PM_TYPE_STRING, getValueOffset(entry));
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::getBinaryDataBufferSize(int key, unsigned int* size) const
{
    const KeyValuePair* entry = findEntry(*this, _buffer, key);
    return entry == nullptr ? PM_RC_KEY_NOT_FOUND : getBinaryDataBufferSize(entry, size);
}

PropertyMap_ReturnCode PropertyMap::getBinaryDataBufferSize(const KeyValuePair* entry, unsigned int* size) const
{
    const PropertyMap_ValueType type = getValueType(entry);
    if (type != PM_TYPE_BINARY && type != PM_TYPE_PROPERTY_MAP)
        return PM_RC_TYPE_MISMATCH;
    const uint32_t bufSize = getValueSize(type, getValueOffset(entry));
    OSTREL_ASSERT_TEXT(bufSize >= sizeof(uint32_t), "bufSize >= sizeof(uint32_t)");
    *size = bufSize - PROPERTY_MAP_LENGTH_SIZE;
    return PM_RC_OK;
}

PropertyMap::Iterator PropertyMap::begin() const
{
    return Iterator(this, getKeyTableEntry());
}

PropertyMap::Iterator PropertyMap::end() const
{
    return Iterator(this, reinterpret_cast<const KeyValuePair*>(_buffer + getSize()));
}

PropertyMap::Iterator PropertyMap::getIterator(int key) const
{
    const KeyValuePair* entry = findEntry(*this, _buffer, key);
    return entry == nullptr ? end() : Iterator(this, entry);
}

PropertyMap::Iterator& PropertyMap::Iterator::operator++()
{
    ++_entry;
    return *this;
}

PropertyMap::Iterator PropertyMap::Iterator::operator++(int)
{
    return Iterator(_map, _entry++);
}

PropertyMap::Iterator& PropertyMap::Iterator::operator--()
{
    --_entry;
    return *this;
}

PropertyMap::Iterator PropertyMap::Iterator::operator--(int)
{
    return Iterator(_map, _entry--);
}

unsigned int PropertyMap::Iterator::getDataSize() const
{
    const PropertyMap_ValueType type = getType();
    switch (type) {
    case PM_TYPE_BOOL:
        return 1;
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        return sizeof(uint32_t); // the entry need not hold an offset
    case PM_TYPE_DOUBLE:
    case PM_TYPE_STRING:
        return _map->getValueSize(type, PropertyMap::getValueOffset(_entry));
    case PM_TYPE_BINARY:
    case PM_TYPE_PROPERTY_MAP:
        return _map->getValueSize(type, PropertyMap::getValueOffset(_entry)) - PROPERTY_MAP_LENGTH_SIZE;
    default:
        OSTREL_ASSERT_TEXT(false, "false");
        return 0;
    }
}
