/* Every function of the C interface, called from C. Returns the number of the line that failed, or 0. */
#include <string.h>

#include "ostrel/property_map.h"
#include "tests/support/Require.h"

int getAndSetByFunctions(void);
int exchangeByFunctions(void);
int readConstantBytes(const uint8_t* bytes);

static property_map* fill(uint8_t* buffer, uint32_t size)
{
    uint8_t data[] = {1, 2, 3};
    uint8_t innerBuffer[PM_STORAGE(PM_ENTRY_INT) + 4];
    property_map* map = property_map_create(buffer, size);
    property_map* inner = property_map_create(innerBuffer, sizeof(innerBuffer));
    property_map_insert_int(inner, 1, 5);
    property_map_insert_int(map, 1, -7);
    property_map_insert_bool(map, 2, true);
    property_map_insert_float(map, 3, 1.5f);
    property_map_insert_double(map, 4, 2.5);
    property_map_insert_string(map, 5, "text");
    property_map_insert_binary_data(map, 6, data, sizeof(data));
    property_map_insert_property_map(map, 7, inner);
    property_map_free(inner);
    return map;
}

int getAndSetByFunctions(void)
{
    static const PropertyMap_ValueType TYPES[] = {PM_TYPE_INT,    PM_TYPE_BOOL,   PM_TYPE_FLOAT,       PM_TYPE_DOUBLE,
                                                  PM_TYPE_STRING, PM_TYPE_BINARY, PM_TYPE_PROPERTY_MAP};
    uint8_t buffer[200], innerBuffer[30], data[20];
    property_map* map = fill(buffer, sizeof(buffer));
    property_map* inner = property_map_create(innerBuffer, sizeof(innerBuffer));
    const uint32_t emptySpace = property_map_get_empty_space(map);
    int32_t keys[8];
    int32_t integer = 0;
    bool flag = false;
    float single = 0;
    double number = 0;
    char text[5];
    const char* textRef;
    const uint8_t* dataRef;
    uint32_t size = 0, length = 0;
    REQUIRE(property_map_get_num_entries(map) == 7 && property_map_get_size(map) == 200);
    REQUIRE(property_map_get_all_keys(map, keys, 8, &size) == PM_RC_OK && size == 7 && keys[6] == 7);

    /* Each function fits one key, and only that; bytes are got from nested maps too. */
    for (int32_t key = 1; key <= 8; ++key) {
        const PropertyMap_ReturnCode refused = key == 8 ? PM_RC_KEY_NOT_FOUND : PM_RC_TYPE_MISMATCH;
        const PropertyMap_ReturnCode ofBytes = key == 6 || key == 7 ? PM_RC_OK : refused;
        const PropertyMap_ReturnCode ofText = key == 5 ? PM_RC_OK : refused;
        PropertyMap_ValueType type = PM_MAX_TYPE;
        REQUIRE(property_map_has_key(map, key) == (key != 8));
        REQUIRE(key == 8 || (property_map_get_key_type(map, key, &type) == PM_RC_OK && type == TYPES[key - 1]));
        REQUIRE(property_map_get_int(map, key, &integer) == (key == 1 ? PM_RC_OK : refused));
        REQUIRE(property_map_get_bool(map, key, &flag) == (key == 2 ? PM_RC_OK : refused));
        REQUIRE(property_map_get_float(map, key, &single) == (key == 3 ? PM_RC_OK : refused));
        REQUIRE(property_map_get_double(map, key, &number) == (key == 4 ? PM_RC_OK : refused));
        REQUIRE(property_map_get_string(map, key, text, sizeof(text)) == ofText);
        REQUIRE(property_map_get_string_buffer_size(map, key, &size) == ofText);
        REQUIRE(property_map_get_string_ref(map, key, &textRef) == ofText);
        REQUIRE(key == 5 ? size == 5 && strcmp(text, textRef) == 0 : textRef == NULL);
        REQUIRE(property_map_get_binary_data(map, key, data, key == 6 ? 3 : 20, &length) == ofBytes);
        REQUIRE(property_map_get_binary_data_buffer_size(map, key, &size) == ofBytes);
        REQUIRE(ofBytes != PM_RC_OK || (size == length && length == (key == 6 ? 3 : 20)));
        REQUIRE(property_map_get_binary_data_ref(map, key, &dataRef, &length) == ofBytes);
        REQUIRE(ofBytes == PM_RC_OK ? memcmp(data, dataRef, length) == 0 : dataRef == NULL && length == 0);

        REQUIRE(property_map_set_int(map, key, 70) == (key == 1 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_bool(map, key, false) == (key == 2 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_float(map, key, 7.5f) == (key == 3 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_double(map, key, 8.5) == (key == 4 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_string(map, key, "longer") == ofText);
        REQUIRE(property_map_set_binary_data(map, key, data, 1) == (key == 6 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_property_map(map, key, inner) == (key == 7 ? PM_RC_OK : refused));
    }
    REQUIRE(integer == -7 && flag && single == 1.5f && number == 2.5 && strcmp(text, "text") == 0);
    REQUIRE(property_map_get_empty_space(map) == emptySpace - 2 + 2 - 10);
    property_map_free(inner);
    property_map_free(map);
    property_map_free(NULL);

    /* The handle is gone, the buffer is not. */
    map = property_map_create_by_map_buffer(buffer);
    REQUIRE(property_map_get_int(map, 1, &integer) == PM_RC_OK && integer == 70);
    REQUIRE(property_map_get_double(map, 4, &number) == PM_RC_OK && number == 8.5);
    REQUIRE(property_map_remove_key(map, 1) == PM_RC_OK && property_map_remove_key(map, 1) == PM_RC_KEY_NOT_FOUND);
    property_map_remove_all(map);
    REQUIRE(property_map_get_num_entries(map) == 0);
    property_map_print_content(map);
    property_map_free(map);
    return 0;
}

int exchangeByFunctions(void)
{
    uint8_t buffer[200], copy[200], form[200], target[200];
    const uint8_t* data = NULL;
    property_map* map = fill(buffer, sizeof(buffer));
    REQUIRE(property_map_serialize(map, copy) == 200 && memcmp(copy, buffer, 200) == 0);
    REQUIRE(property_map_get_serialized_data(map, &data) == 200 && data == buffer);
    REQUIRE(property_map_is_well_formed(copy, 200) && !property_map_is_well_formed(copy, 199));

    const unsigned int length = property_map_check_externalized_size(map);
    uint32_t consumed = 0;
    REQUIRE(property_map_externalize(map, NULL, 0) == length && length > 0);
    REQUIRE(property_map_externalize(map, form, length - 1) == 0);
    REQUIRE(property_map_externalize(map, form, length) == length);
    REQUIRE(property_map_is_well_formed_externalized(form, length, &consumed) && consumed == length);
    REQUIRE(!property_map_is_well_formed_externalized(form, length - 1, NULL));
    property_map_free(map);

    map = property_map_create(target, property_map_read_externalized_size(NULL, form));
    const uint8_t* cursor = form;
    REQUIRE(property_map_initialize(map, &cursor) == PM_RC_OK && cursor == form + length);
    REQUIRE(property_map_get_empty_space(map) == 0 && property_map_get_num_entries(map) == 7);
    property_map_free(map);
    return 0;
}

int readConstantBytes(const uint8_t* bytes)
{
    const property_map* map = property_map_attach_const(bytes);
    int32_t integer = 0;
    const char* text = NULL;
    REQUIRE(property_map_get_int(map, 1, &integer) == PM_RC_OK && integer == 258);
    REQUIRE(property_map_get_string_ref(map, 5, &text) == PM_RC_OK && (const uint8_t*)text > bytes);
    property_map_detach_const(map);
    property_map_detach_const(NULL);
    return 0;
}
