// Writes the externalized form: big-endian records in key order, which hosts of any byte order read.
#include "ostrel/PropertyMap.h"

#include "ostrel/internal/PropertyMapEntry.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): the class is global, its helpers are not

namespace {

const unsigned int SIZE_WORD = 4;
const unsigned int RECORD_HEAD = 5; // type byte and key
const unsigned int TERMINATOR = 1;

/// What a record takes behind its head; a nested map's form is not counted.
inline uint64_t getBodySize(PropertyMap_ValueType type, const unsigned char* value)
{
    return type == PM_TYPE_PROPERTY_MAP ? 0 : getStoredSize(type, value);
}

inline void writeBody(unsigned char* dest, PropertyMap_ValueType type, const unsigned char* value, size_t size)
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

/// The record of an entry, of a nested map's only the head. Returns its length, 0 when it does not fit.
inline uint32_t writeRecord(unsigned char* dest, uint32_t room, const PropertyMapEntry& entry,
                            PropertyMap_ValueType type, const unsigned char* value)
{
    if (room < RECORD_HEAD)
        return 0;
    const bool isTrue = type == PM_TYPE_BOOL && entry.getBool();
    dest[0] = isTrue ? PROPERTY_MAP_FORM_TRUE : static_cast<unsigned char>(type);
    storeBE32(dest + 1, static_cast<uint32_t>(entry.getKey()));

    const uint64_t size = getBodySize(type, value);
    if (size > room - RECORD_HEAD)
        return 0;
    writeBody(dest + RECORD_HEAD, type, value, static_cast<size_t>(size));
    return RECORD_HEAD + static_cast<uint32_t>(size);
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

unsigned int PropertyMap::getFormLength() const
{
    unsigned int length = SIZE_WORD + TERMINATOR;
    const KeyValuePair* entry = getKeyTableEntry();
    for (unsigned int left = getNumEntries(); left != 0; --left, ++entry) {
        const PropertyMap_ValueType type = PropertyMapEntry(entry).getValueType();
        length += RECORD_HEAD + static_cast<uint32_t>(getBodySize(type, getValueBytes(_buffer, entry)));
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
