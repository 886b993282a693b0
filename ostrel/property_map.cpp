#include "ostrel/property_map.h"

#include <new>

#include "ostrel/Assert.h"
#include "ostrel/PropertyMap.h"

namespace {

/// What is behind a handle over constant bytes, so that the function which writes through a constant handle knows it.
class ConstantMap final : public PropertyMap
{
public:
    explicit ConstantMap(const uint8_t* buffer) : PropertyMap(const_cast<uint8_t*>(buffer)) {}
};

PropertyMap* convert(property_map* map)
{
    return reinterpret_cast<PropertyMap*>(map);
}

const PropertyMap* convert(const property_map* map)
{
    return reinterpret_cast<const PropertyMap*>(map);
}

bool isConstant(const property_map* map)
{
    return dynamic_cast<const ConstantMap*>(convert(map)) != nullptr;
}

} // namespace

// Each function asserts by itself: the message shows the declaration of the function that was called.

property_map* property_map_create(uint8_t* buffer, uint32_t size)
{
    return reinterpret_cast<property_map*>(new PropertyMap(buffer, size));
}

property_map* property_map_create_by_map_buffer(uint8_t* buffer)
{
    return reinterpret_cast<property_map*>(new PropertyMap(buffer));
}

const property_map* property_map_attach_const(const uint8_t* buffer)
{
    const PropertyMap* map = new (std::nothrow) ConstantMap(buffer);
    return reinterpret_cast<const property_map*>(map);
}

void property_map_detach_const(const property_map* map)
{
    delete convert(map);
}

void property_map_free(property_map* map)
{
    delete convert(map);
}

bool property_map_is_well_formed(const uint8_t* buffer, uint32_t size)
{
    return PropertyMap::isWellFormed(buffer, size);
}

bool property_map_is_well_formed_externalized(const uint8_t* data, uint32_t length, uint32_t* consumed)
{
    return PropertyMap::isWellFormedExternalized(data, length, consumed);
}

uint32_t property_map_get_num_entries(const property_map* map)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->getNumEntries();
}

uint32_t property_map_get_size(const property_map* map)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->getSize();
}

uint32_t property_map_get_empty_space(const property_map* map)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->getEmptySpace();
}

bool property_map_has_key(const property_map* map, int32_t key)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->hasKey(key);
}

PropertyMap_ReturnCode property_map_get_key_type(const property_map* map, int32_t key, PropertyMap_ValueType* type)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->getKeyType(key, type);
}

PropertyMap_ReturnCode property_map_get_all_keys(const property_map* map, int32_t* keys, uint32_t max_keys,
                                                 uint32_t* num_keys)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->getAllKeys(keys, max_keys, num_keys);
}

PropertyMap_ReturnCode property_map_insert_string(property_map* map, int32_t key, const char* text)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->insert(key, text);
}

PropertyMap_ReturnCode property_map_insert_int(property_map* map, int32_t key, int32_t value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->insert(key, value);
}

PropertyMap_ReturnCode property_map_insert_bool(property_map* map, int32_t key, bool value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->insert(key, value);
}

PropertyMap_ReturnCode property_map_insert_float(property_map* map, int32_t key, float value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->insert(key, value);
}

PropertyMap_ReturnCode property_map_insert_double(property_map* map, int32_t key, double value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->insert(key, value);
}

PropertyMap_ReturnCode property_map_insert_binary_data(property_map* map, int32_t key, uint8_t* data, uint32_t length)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->insert(key, data, length);
}

PropertyMap_ReturnCode property_map_insert_property_map(property_map* map, int32_t key, const property_map* other)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->insert(key, *convert(other));
}

PropertyMap_ReturnCode property_map_get_string_buffer_size(const property_map* map, int32_t key, uint32_t* size)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->getStringBufferSize(key, size);
}

PropertyMap_ReturnCode property_map_get_binary_data_buffer_size(const property_map* map, int32_t key, uint32_t* size)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->getBinaryDataBufferSize(key, size);
}

PropertyMap_ReturnCode property_map_get_string(const property_map* map, int32_t key, char* dest, uint32_t size)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->get(key, dest, size);
}

PropertyMap_ReturnCode property_map_get_string_ref(const property_map* map, int32_t key, const char** ref)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->get(key, ref);
}

PropertyMap_ReturnCode property_map_get_int(const property_map* map, int32_t key, int32_t* value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->get(key, value);
}

PropertyMap_ReturnCode property_map_get_bool(const property_map* map, int32_t key, bool* value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->get(key, value);
}

PropertyMap_ReturnCode property_map_get_float(const property_map* map, int32_t key, float* value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->get(key, value);
}

PropertyMap_ReturnCode property_map_get_double(const property_map* map, int32_t key, double* value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->get(key, value);
}

PropertyMap_ReturnCode property_map_get_binary_data(const property_map* map, int32_t key, uint8_t* dest, uint32_t size,
                                                    uint32_t* length)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->get(key, dest, size, length);
}

PropertyMap_ReturnCode property_map_get_binary_data_ref(const property_map* map, int32_t key, const uint8_t** ref,
                                                        uint32_t* length)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->get(key, ref, length);
}

PropertyMap_ReturnCode property_map_set_string(property_map* map, int32_t key, const char* text)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->set(key, text);
}

PropertyMap_ReturnCode property_map_set_int(property_map* map, int32_t key, int32_t value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->set(key, value);
}

PropertyMap_ReturnCode property_map_set_bool(property_map* map, int32_t key, bool value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->set(key, value);
}

PropertyMap_ReturnCode property_map_set_float(property_map* map, int32_t key, float value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->set(key, value);
}

PropertyMap_ReturnCode property_map_set_double(property_map* map, int32_t key, double value)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->set(key, value);
}

PropertyMap_ReturnCode property_map_set_binary_data(property_map* map, int32_t key, uint8_t* data, uint32_t length)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->set(key, data, length);
}

PropertyMap_ReturnCode property_map_set_property_map(property_map* map, int32_t key, const property_map* other)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->set(key, *convert(other));
}

PropertyMap_ReturnCode property_map_remove_key(property_map* map, int32_t key)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->removeKey(key);
}

void property_map_remove_all(property_map* map)
{
    OSTREL_ASSERT_TEXT(map, "map");
    convert(map)->removeAll();
}

void property_map_print_content(const property_map* map)
{
    OSTREL_ASSERT_TEXT(map, "map");
    convert(map)->printContent();
}

unsigned int property_map_serialize(property_map* map, uint8_t* dest)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->serialize(dest);
}

unsigned int property_map_get_serialized_data(property_map* map, const uint8_t** data)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->serialize(data);
}

unsigned int property_map_check_externalized_size(const property_map* map)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->externalize(nullptr, 0);
}

unsigned int property_map_externalize(const property_map* map, uint8_t* dest, unsigned int size)
{
    OSTREL_ASSERT_TEXT(map, "map");
    return convert(map)->externalize(dest, size);
}

unsigned int property_map_read_externalized_size(const property_map*, const uint8_t* buffer)
{
    OSTREL_ASSERT_TEXT(buffer, "buffer");
    return PropertyMap::externalizedSize(buffer);
}

// Declared for a map that is not to be changed, though its content is replaced: see docs/compatibility.md.
PropertyMap_ReturnCode property_map_initialize(const property_map* map, const uint8_t** cursor)
{
    OSTREL_ASSERT_TEXT(map, "map");
    OSTREL_ASSERT_TEXT(!isConstant(map), "!isConstant(map)");
    return const_cast<PropertyMap*>(convert(map))->initialize(cursor);
}
