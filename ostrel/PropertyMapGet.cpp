#include "ostrel/PropertyMap.h"

#include "ostrel/internal/PropertyMapTable.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): the class is global, its helpers are not

namespace {

/// The entry's own `get`, behind the search for it.
template <class... Outputs>
inline PropertyMap_ReturnCode getByKey(const PropertyMap& map, const unsigned char* buffer, int key, Outputs... outputs)
{
    const PropertyMap::KeyValuePair* entry = findEntry(map, buffer, key);
    return entry == nullptr ? PM_RC_KEY_NOT_FOUND : map.get(entry, outputs...);
}

} // namespace

template <class Value>
PropertyMap_ReturnCode PropertyMap::getPrimitiveValue(const KeyValuePair* entry, PropertyMap_ValueType type,
                                                      Value* value) const
{
    if (PropertyMapEntry(entry).getValueType() != type)
        return PM_RC_TYPE_MISMATCH;
    *value = loadWord<Value>(getValueBytes(_buffer, entry));
    return PM_RC_OK;
}

template <>
PropertyMap_ReturnCode PropertyMap::getPrimitiveValue(const KeyValuePair* entry, PropertyMap_ValueType type,
                                                      bool* value) const
{
    if (PropertyMapEntry(entry).getValueType() != type)
        return PM_RC_TYPE_MISMATCH;
    *value = PropertyMapEntry(entry).getBool();
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::get(const KeyValuePair* entry, int* value) const
{
    return getPrimitiveValue(entry, PM_TYPE_INT, value);
}

PropertyMap_ReturnCode PropertyMap::get(const KeyValuePair* entry, bool* value) const
{
    return getPrimitiveValue(entry, PM_TYPE_BOOL, value);
}

PropertyMap_ReturnCode PropertyMap::get(const KeyValuePair* entry, float* value) const
{
    return getPrimitiveValue(entry, PM_TYPE_FLOAT, value);
}

PropertyMap_ReturnCode PropertyMap::get(const KeyValuePair* entry, double* value) const
{
    return getPrimitiveValue(entry, PM_TYPE_DOUBLE, value);
}

PropertyMap_ReturnCode PropertyMap::get(const KeyValuePair* entry, char* dest, unsigned int destSize) const
{
    const char* text;
    const PropertyMap_ReturnCode code = get(entry, &text);
    if (code != PM_RC_OK)
        return code;
    strncpy(dest, text, destSize);
    // Always, also over a text that ended before: the caller gives at least one byte.
    const bool fits = memchr(text, '\0', destSize) != nullptr;
    dest[destSize - 1] = '\0';
    return fits ? PM_RC_OK : PM_RC_BUFFER_TOO_SMALL;
}

PropertyMap_ReturnCode PropertyMap::get(const KeyValuePair* entry, const char** ref) const
{
    if (PropertyMapEntry(entry).getValueType() != PM_TYPE_STRING) {
        *ref = nullptr;
        return PM_RC_TYPE_MISMATCH;
    }
    *ref = reinterpret_cast<const char*>(_buffer + PropertyMapEntry(entry).getValueOffset());
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::get(const KeyValuePair* entry, unsigned char* dest, unsigned int destSize,
                                        unsigned int* length) const
{
    const unsigned char* data;
    unsigned int dataLength;
    const PropertyMap_ReturnCode code = get(entry, &data, &dataLength);
    if (code != PM_RC_OK)
        return code;
    if (dataLength > destSize)
        return PM_RC_BUFFER_TOO_SMALL;
    if (dataLength != 0)
        memcpy(dest, data, dataLength);
    *length = dataLength;
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::get(const KeyValuePair* entry, const unsigned char** ref,
                                        unsigned int* length) const
{
    *ref = nullptr;
    *length = 0;
    const PropertyMap_ValueType type = PropertyMapEntry(entry).getValueType();
    if (type != PM_TYPE_BINARY && type != PM_TYPE_PROPERTY_MAP)
        return PM_RC_TYPE_MISMATCH;
    const unsigned char* value = _buffer + PropertyMapEntry(entry).getValueOffset();
    *length = loadU32(value);
    *ref = value + PROPERTY_MAP_LENGTH_SIZE;
    return PM_RC_OK;
}

PropertyMap_ReturnCode PropertyMap::get(int key, int* value) const
{
    return getByKey(*this, _buffer, key, value);
}

PropertyMap_ReturnCode PropertyMap::get(int key, bool* value) const
{
    return getByKey(*this, _buffer, key, value);
}

PropertyMap_ReturnCode PropertyMap::get(int key, float* value) const
{
    return getByKey(*this, _buffer, key, value);
}

PropertyMap_ReturnCode PropertyMap::get(int key, double* value) const
{
    return getByKey(*this, _buffer, key, value);
}

PropertyMap_ReturnCode PropertyMap::get(int key, char* dest, unsigned int destSize) const
{
    return getByKey(*this, _buffer, key, dest, destSize);
}

PropertyMap_ReturnCode PropertyMap::get(int key, const char** ref) const
{
    *ref = nullptr;
    return getByKey(*this, _buffer, key, ref);
}

PropertyMap_ReturnCode PropertyMap::get(int key, unsigned char* dest, unsigned int destSize, unsigned int* length) const
{
    return getByKey(*this, _buffer, key, dest, destSize, length);
}

PropertyMap_ReturnCode PropertyMap::get(int key, const unsigned char** ref, unsigned int* length) const
{
    *ref = nullptr;
    *length = 0;
    return getByKey(*this, _buffer, key, ref, length);
}
