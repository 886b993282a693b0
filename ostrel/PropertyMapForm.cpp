// The externalized form: big-endian records in key order, which hosts of any byte order read.
#include "ostrel/PropertyMap.h"

#include <algorithm>

#include "ostrel/PropertyMapEntry.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): the class is global, its helpers are not

namespace {

const unsigned int SIZE_WORD = 4;
const unsigned int RECORD_HEAD = 5; // type byte and key
const unsigned int TERMINATOR = 1;

void writeRecordHead(unsigned char* dest, const PropertyMap::KeyValuePair* entry, PropertyMap_ValueType type)
{
    const bool isTrue = type == PM_TYPE_BOOL && getEntryBool(entry);
    dest[0] = isTrue ? PROPERTY_MAP_FORM_TRUE : static_cast<unsigned char>(type);
    storeBE32(dest + 1, static_cast<uint32_t>(getEntryKey(entry)));
}

/// `size` is that of the value as it is stored, which is also what its record takes behind the head.
void writeRecordBody(unsigned char* dest, const unsigned char* value, uint32_t size, PropertyMap_ValueType type)
{
    switch (type) {
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        storeBE32(dest, loadU32(value));
        break;
    case PM_TYPE_DOUBLE:
        storeBE64(dest, loadU64(value));
        break;
    case PM_TYPE_STRING:
        memcpy(dest, value, size);
        break;
    case PM_TYPE_BINARY:
        storeBE32(dest, loadU32(value));
        memcpy(dest + PROPERTY_MAP_LENGTH_SIZE, value + PROPERTY_MAP_LENGTH_SIZE, size - PROPERTY_MAP_LENGTH_SIZE);
        break;
    default:
        break;
    }
}

/// What a record takes behind its head; a nested map's form is not counted.
inline uint32_t getRecordBodySize(PropertyMap_ValueType type, const unsigned char* value)
{
    return type == PM_TYPE_PROPERTY_MAP ? 0 : getStoredSize(type, value);
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
        const PropertyMap_ValueType type = getEntryType(entry);
        length += RECORD_HEAD + getRecordBodySize(type, getEntryValueBytes(_buffer, entry));
        if (type == PM_TYPE_PROPERTY_MAP)
            length += getNestedMap(entry).getFormLength();
    }
    return length;
}

/// The length of the record with a nested map's form, 0 when that does not fit.
inline unsigned int PropertyMap::externalizeEntry(const KeyValuePair* entry, unsigned char* dest,
                                                  unsigned int destSize) const
{
    const PropertyMap_ValueType type = getEntryType(entry);
    const unsigned char* value = getEntryValueBytes(_buffer, entry);
    const uint32_t bodySize = getRecordBodySize(type, value);
    // 64 bits: a broken length must not wrap the sum.
    const uint64_t length = static_cast<uint64_t>(RECORD_HEAD) + bodySize;
    if (length > destSize)
        return 0;
    writeRecordHead(dest, entry, type);
    if (type != PM_TYPE_PROPERTY_MAP) {
        writeRecordBody(dest + RECORD_HEAD, value, bodySize, type);
        return static_cast<unsigned int>(length);
    }
    // Nothing remaining is not the same as no destination, which would only ask for the length.
    const unsigned int nested = getNestedMap(entry).externalize(dest + RECORD_HEAD, destSize - RECORD_HEAD);
    return nested == 0 ? 0 : RECORD_HEAD + nested;
}

unsigned int PropertyMap::externalize(unsigned char* dest, unsigned int destSize) const
{
    if (dest == nullptr)
        return getFormLength();
    if (destSize < SIZE_WORD)
        return 0;
    storeBE32(dest, getSize() - getUnusedSpace());

    unsigned int remaining = destSize - SIZE_WORD;
    unsigned char* end = dest + SIZE_WORD;
    const KeyValuePair* entry = getKeyTableEntry();
    for (unsigned int left = getNumEntries(); left != 0; --left, ++entry) {
        const unsigned int length = externalizeEntry(entry, end, remaining);
        if (length == 0)
            return 0;
        end += length;
        remaining -= length;
    }
    if (remaining < TERMINATOR)
        return 0;
    *end = PM_MAX_TYPE;
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
