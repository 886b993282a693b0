// The externalized form: big-endian records in key order, which hosts of any byte order read.
#include "ostrel/PropertyMap.h"

#include <algorithm>

#include "ostrel/internal/PropertyMapEntry.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): the class is global, its helpers are not

namespace {

const unsigned int SIZE_WORD = 4;
const unsigned int RECORD_HEAD = 5; // type byte and key
const unsigned int TERMINATOR = 1;

inline unsigned char* writeHead(unsigned char* dest, unsigned char typeByte, int key)
{
    dest[0] = typeByte;
    storeBE32(dest + 1, static_cast<uint32_t>(key));
    return dest + RECORD_HEAD;
}

/// The record of an entry, of a nested map's only the head. Returns its length, 0 when it does not fit.
inline uint32_t writeRecord(unsigned char* dest, uint32_t room, const PropertyMapEntry& entry,
                            PropertyMap_ValueType type, const unsigned char* value)
{
    if (room < RECORD_HEAD)
        return 0;
    unsigned char* body = writeHead(dest, static_cast<unsigned char>(type), entry.getKey());
    room -= RECORD_HEAD;
    uint64_t size = 0; // a length word with 4 on top must not wrap
    switch (type) {
    case PM_TYPE_BOOL:
        if (entry.getBool())
            dest[0] = PROPERTY_MAP_FORM_TRUE;
        break;
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        size = sizeof(uint32_t);
        if (size > room)
            return 0;
        storeBE32(body, loadU32(value));
        break;
    case PM_TYPE_DOUBLE:
        size = sizeof(uint64_t);
        if (size > room)
            return 0;
        storeBE64(body, loadU64(value));
        break;
    case PM_TYPE_STRING:
        size = getStoredSize(PM_TYPE_STRING, value);
        if (size > room)
            return 0;
        memcpy(body, value, size);
        break;
    case PM_TYPE_BINARY:
        size = getStoredSize(PM_TYPE_BINARY, value);
        if (size > room)
            return 0;
        storeBE32(body, loadU32(value));
        memcpy(body + PROPERTY_MAP_LENGTH_SIZE, value + PROPERTY_MAP_LENGTH_SIZE, size - PROPERTY_MAP_LENGTH_SIZE);
        break;
    default:
        break;
    }
    return RECORD_HEAD + static_cast<uint32_t>(size);
}

/// What a record takes behind its head; a nested map's form is not counted.
inline uint32_t getRecordBodySize(PropertyMap_ValueType type, const unsigned char* value)
{
    return type == PM_TYPE_PROPERTY_MAP ? 0 : static_cast<uint32_t>(getStoredSize(type, value));
}

} // namespace

unsigned int PropertyMap::serialize(unsigned char* dest) const
{
    const uint32_t size = getSize();
    memcpy(dest, _buffer, size);
    return size;
}

unsigned int PropertyMap::serialize(const unsigned char** data) const
{
    *data = _buffer;
    return getSize();
}

unsigned int PropertyMap::externalizedSize(const unsigned char* data)
{
    return loadBE32(data);
}

unsigned int PropertyMap::getFormLength() const
{
    unsigned int length = SIZE_WORD + TERMINATOR;
    const KeyValuePair* entry = getKeyTableEntry();
    for (unsigned int left = getNumEntries(); left != 0; --left, ++entry) {
        const PropertyMap_ValueType type = PropertyMapEntry(entry).getValueType();
        length += RECORD_HEAD + getRecordBodySize(type, getValueBytes(_buffer, entry));
        if (type == PM_TYPE_PROPERTY_MAP)
            length += getNestedMap(entry).getFormLength();
    }
    return length;
}

unsigned int PropertyMap::externalize(unsigned char* dest, unsigned int destSize) const
{
    if (dest == nullptr)
        return getFormLength();
    uint32_t usedSize;
    return writeForm(dest, destSize, &usedSize);
}

/// `externalize` into a buffer. `*usedSize` becomes the form's size word, so that whoever holds this map in its own
/// need not count the free space again.
unsigned int PropertyMap::writeForm(unsigned char* dest, unsigned int destSize, uint32_t* usedSize) const
{
    if (destSize < SIZE_WORD)
        return 0;
    uint32_t used = getSize() - getEmptySpace();
    unsigned int remaining = destSize - SIZE_WORD;
    const KeyValuePair* pair = getKeyTableEntry();
    for (unsigned int left = getNumEntries(); left != 0; --left, ++pair) {
        const PropertyMapEntry entry(pair);
        const PropertyMap_ValueType type = entry.getValueType();
        const unsigned char* value = getValueBytes(_buffer, pair);
        unsigned int length = writeRecord(dest + (destSize - remaining), remaining, entry, type, value);
        if (length == 0)
            return 0;
        remaining -= length;
        if (type != PM_TYPE_PROPERTY_MAP)
            continue;
        const PropertyMap nested = getNestedMap(pair);
        uint32_t nestedUsed;
        length = nested.writeForm(dest + (destSize - remaining), remaining, &nestedUsed);
        if (length == 0)
            return 0;
        used -= nested.getSize() - nestedUsed;
        remaining -= length;
    }
    if (remaining < TERMINATOR)
        return 0;
    storeBE32(dest, used);
    *usedSize = used;
    dest[destSize - remaining] = PM_MAX_TYPE;
    return destSize - remaining + TERMINATOR;
}

/// Reads the records of one form into a map that is empty.
///
/// Forms come in key order, so their entries need neither a search for their place nor a pass for the end of the value
/// area, and not even a move of the entries before them: they are stacked downward, highest key lowest, and the table
/// is turned over in the end. From the first record out of order on, the ordinary insertion takes over.
class PropertyMap::FormReader
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
    const uint32_t neededSize = loadBE32(*cursor);
    *cursor += SIZE_WORD;
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
    unsigned char* value;
    const uint64_t size = static_cast<uint64_t>(length) + PROPERTY_MAP_LENGTH_SIZE;
    const PropertyMap_ReturnCode code = addValue(key, PM_TYPE_BINARY, size, &value);
    if (code != PM_RC_OK)
        return code;
    storeU32(value, length);
    memcpy(value + PROPERTY_MAP_LENGTH_SIZE, *_cursor, length);
    *_cursor += length;
    return PM_RC_OK;
}

/// Reserves what the nested form asks for and lets it be read there. When that fails, the entry stays.
PropertyMap_ReturnCode PropertyMap::FormReader::readNestedMap(int key)
{
    const uint32_t length = externalizedSize(*_cursor);
    unsigned char* value;
    const uint64_t size = static_cast<uint64_t>(length) + PROPERTY_MAP_LENGTH_SIZE;
    const PropertyMap_ReturnCode code = addValue(key, PM_TYPE_PROPERTY_MAP, size, &value);
    if (code != PM_RC_OK)
        return code;
    storeU32(value, length);
    PropertyMap nested(value + PROPERTY_MAP_LENGTH_SIZE, length);
    return nested.initialize(_cursor);
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
