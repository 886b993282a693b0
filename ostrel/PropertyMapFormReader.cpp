// Reads the externalized form back.
#include "ostrel/PropertyMap.h"

#include <algorithm>

#include "ostrel/internal/PropertyMapEntry.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): the class is global, its helpers are not

unsigned int PropertyMap::externalizedSize(const unsigned char* data)
{
    return loadBE32(data);
}

/// Reads the records of one form into a map that is empty.
///
/// Forms come in key order, so their entries need neither a search for their place nor a pass for the end of the value
/// area, and not even a move of the entries before them: they are stacked downward, highest key lowest, and the table
/// is turned over in the end. From the first record out of order on, the ordinary insertion takes over.
class OSTREL_LOCAL PropertyMap::FormReader
{
public:
    FormReader(PropertyMap& map, const unsigned char** cursor)
        : _map(map),
          _cursor(cursor),
          _tableOffset(map.getKeyTableOffset()),
          _valueEnd(PROPERTY_MAP_HEADER_SIZE),
          _mapSize(_tableOffset)
    {}

    PropertyMap_ReturnCode read();

private:
    PropertyMap_ReturnCode readRecord(unsigned char typeByte);
    PropertyMap_ReturnCode readNumber(int key, PropertyMap_ValueType type);
    PropertyMap_ReturnCode readDouble(int key);
    PropertyMap_ReturnCode readString(int key);
    PropertyMap_ReturnCode readBinary(int key);
    PropertyMap_ReturnCode readNestedMap(int key);

    PropertyMap_ReturnCode addEntry(int key, PropertyMap_ValueType type, uint32_t value);
    PropertyMap_ReturnCode addValue(int key, PropertyMap_ValueType type, uint64_t size, unsigned char** value);
    PropertyMap_ReturnCode addBytes(int key, PropertyMap_ValueType type, uint32_t length, unsigned char** bytes);
    PropertyMap_ReturnCode add(int key, PropertyMap_ValueType type, uint64_t valueSize, uint32_t* value);
    void turnTableOver();

    PropertyMap& _map;
    const unsigned char** _cursor;
    uint32_t _tableOffset; // while the table is stacked, the map's own is not kept up
    uint32_t _valueEnd;
    const uint32_t _mapSize;
    int _lastKey = 0;
    bool _isStacked = true;
};

PropertyMap_ReturnCode PropertyMap::initialize(const unsigned char** cursor)
{
    const uint32_t neededSize = externalizedSize(*cursor);
    *cursor += sizeof(neededSize);
    // First of all, so that a form that is refused leaves an empty map.
    removeAll();
    if (getSize() < neededSize)
        return PM_RC_BUFFER_TOO_SMALL;
    return FormReader(*this, cursor).read();
}

PropertyMap_ReturnCode PropertyMap::FormReader::read()
{
    PropertyMap_ReturnCode code = PM_RC_OK;
    while (code == PM_RC_OK) {
        const unsigned char typeByte = *(*_cursor)++;
        if (typeByte == PM_MAX_TYPE)
            break;
        code = readRecord(typeByte);
    }
    turnTableOver();
    return code;
}

PropertyMap_ReturnCode PropertyMap::FormReader::readRecord(unsigned char typeByte)
{
    const int key = static_cast<int>(loadBE32(*_cursor));
    *_cursor += sizeof(uint32_t);
    switch (typeByte) {
    case PM_TYPE_BOOL:
        return addEntry(key, PM_TYPE_BOOL, 0);
    case PROPERTY_MAP_FORM_TRUE:
        return addEntry(key, PM_TYPE_BOOL, 1);
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        return readNumber(key, static_cast<PropertyMap_ValueType>(typeByte));
    case PM_TYPE_DOUBLE:
        return readDouble(key);
    case PM_TYPE_STRING:
        return readString(key);
    case PM_TYPE_BINARY:
        return readBinary(key);
    case PM_TYPE_PROPERTY_MAP:
        return readNestedMap(key);
    default:
        turnTableOver();
        _map.removeAll();
        return PM_RC_TYPE_MISMATCH;
    }
}

PropertyMap_ReturnCode PropertyMap::FormReader::readNumber(int key, PropertyMap_ValueType type)
{
    const uint32_t bits = loadBE32(*_cursor);
    *_cursor += sizeof(bits);
    if (isShortKey(key))
        return addEntry(key, type, bits);
    unsigned char* value;
    const PropertyMap_ReturnCode code = addValue(key, type, sizeof(bits), &value);
    if (code == PM_RC_OK)
        storeU32(value, bits);
    return code;
}

PropertyMap_ReturnCode PropertyMap::FormReader::readDouble(int key)
{
    const uint64_t bits = loadBE64(*_cursor);
    *_cursor += sizeof(bits);
    unsigned char* value;
    const PropertyMap_ReturnCode code = addValue(key, PM_TYPE_DOUBLE, sizeof(bits), &value);
    if (code == PM_RC_OK)
        storeU64(value, bits);
    return code;
}

PropertyMap_ReturnCode PropertyMap::FormReader::readString(int key)
{
    const size_t size = strlen(reinterpret_cast<const char*>(*_cursor)) + 1;
    unsigned char* value;
    const PropertyMap_ReturnCode code = addValue(key, PM_TYPE_STRING, size, &value);
    if (code != PM_RC_OK)
        return code;
    memcpy(value, *_cursor, size);
    *_cursor += size;
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::FormReader::readBinary(int key)
{
    const uint32_t length = loadBE32(*_cursor);
    *_cursor += sizeof(length);
    unsigned char* bytes;
    const PropertyMap_ReturnCode code = addBytes(key, PM_TYPE_BINARY, length, &bytes);
    if (code != PM_RC_OK)
        return code;
    memcpy(bytes, *_cursor, length);
    *_cursor += length;
    return PM_RC_OK;
}

/// Reserves what the nested form asks for and lets it be read there. When that fails, the entry stays.
PropertyMap_ReturnCode PropertyMap::FormReader::readNestedMap(int key)
{
    const uint32_t length = externalizedSize(*_cursor);
    unsigned char* bytes;
    const PropertyMap_ReturnCode code = addBytes(key, PM_TYPE_PROPERTY_MAP, length, &bytes);
    return code == PM_RC_OK ? PropertyMap(bytes, length).initialize(_cursor) : code;
}

/// An entry whose value is inline.
PropertyMap_ReturnCode PropertyMap::FormReader::addEntry(int key, PropertyMap_ValueType type, uint32_t value)
{
    return add(key, type, 0, &value);
}

/// An entry with `size` bytes in the value area, to be filled at `*value`.
PropertyMap_ReturnCode PropertyMap::FormReader::addValue(int key, PropertyMap_ValueType type, uint64_t size,
                                                         unsigned char** value)
{
    uint32_t offset = 0;
    const PropertyMap_ReturnCode code = add(key, type, size, &offset);
    *value = _map._buffer + offset;
    return code;
}

/// The same for a value with a length word, which is written; `*bytes` are those behind it.
PropertyMap_ReturnCode PropertyMap::FormReader::addBytes(int key, PropertyMap_ValueType type, uint32_t length,
                                                         unsigned char** bytes)
{
    unsigned char* value;
    const uint64_t size = static_cast<uint64_t>(length) + PROPERTY_MAP_LENGTH_SIZE;
    const PropertyMap_ReturnCode code = addValue(key, type, size, &value);
    if (code != PM_RC_OK)
        return code;
    storeU32(value, length);
    *bytes = value + PROPERTY_MAP_LENGTH_SIZE;
    return PM_RC_OK;
}

/// `*value` is what the entry holds; where a value size is given that is its offset, which is set here.
PropertyMap_ReturnCode PropertyMap::FormReader::add(int key, PropertyMap_ValueType type, uint64_t valueSize,
                                                    uint32_t* value)
{
    const bool isFirst = _tableOffset == _mapSize;
    if (!_isStacked || !(isFirst || key > _lastKey)) {
        turnTableOver();
        InsertionPoint point;
        const PropertyMap_ReturnCode code = _map.getInsertionPoint(key, valueSize, &point);
        if (code != PM_RC_OK)
            return code;
        if (valueSize != 0)
            *value = point.valueOffset;
        _map.insertKeyEntryTable(point.index, key, type, *value);
        return PM_RC_OK;
    }

    if (_tableOffset < _valueEnd + valueSize + PROPERTY_MAP_ENTRY_SIZE)
        return PM_RC_NO_SPACE;
    if (valueSize != 0)
        *value = _valueEnd;
    _tableOffset -= PROPERTY_MAP_ENTRY_SIZE;
    createKeyValuePairWithOffset(reinterpret_cast<KeyValuePair*>(_map._buffer + _tableOffset), key, type, *value);
    _valueEnd += static_cast<uint32_t>(valueSize);
    _lastKey = key;
    return PM_RC_OK;
}

void PropertyMap::FormReader::turnTableOver()
{
    if (!_isStacked)
        return;
    _isStacked = false;
    _map.setKeyTableOffset(_tableOffset);
    KeyValuePair* table = _map.entryAt(0);
    std::reverse(table, table + _map.getNumEntries());
}
