/* Every function of the C interface, called from C. Returns the number of the line that failed, or 0. */
#include <string.h>

#include "ostrel/property_map.h"

#define REQUIRE(condition)                                                                                             \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            return __LINE__;                                                                                           \
    } while (0)

int callInsertsAndGets(void);
int callSetsAndRemovals(void);
int callExchange(void);

static property_map* fill(uint8_t* buffer, uint32_t size)
{
    uint8_t data[] = {1, 2, 3};
    uint8_t innerBuffer[20];
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

int callInsertsAndGets(void)
{
    static const PropertyMap_ValueType TYPES[] = {PM_TYPE_INT,    PM_TYPE_BOOL,   PM_TYPE_FLOAT,       PM_TYPE_DOUBLE,
                                                  PM_TYPE_STRING, PM_TYPE_BINARY, PM_TYPE_PROPERTY_MAP};
    uint8_t buffer[200];
    property_map* map = fill(buffer, sizeof(buffer));
    int32_t keys[8];
    uint32_t count = 0, size = 0, length = 9;
    REQUIRE(property_map_get_num_entries(map) == 7 && property_map_get_size(map) == 200);
    REQUIRE(property_map_get_all_keys(map, keys, 8, &count) == PM_RC_OK && count == 7 && keys[6] == 7);

    /* Each get fits one key, and only that. */
    for (int32_t key = 1; key <= 7; ++key) {
        int32_t integer = 0;
        bool flag = false;
        float single = 0;
        double number = 0;
        char text[5];
        const char* textRef = "";
        uint8_t data[20];
        const uint8_t* dataRef = buffer;
        PropertyMap_ValueType type = PM_MAX_TYPE;
        REQUIRE(property_map_has_key(map, key) && !property_map_has_key(map, key + 7));
        REQUIRE(property_map_get_key_type(map, key, &type) == PM_RC_OK && type == TYPES[key - 1]);
        REQUIRE((property_map_get_int(map, key, &integer) == PM_RC_OK) == (key == 1));
        REQUIRE((property_map_get_bool(map, key, &flag) == PM_RC_OK) == (key == 2));
        REQUIRE((property_map_get_float(map, key, &single) == PM_RC_OK) == (key == 3));
        REQUIRE((property_map_get_double(map, key, &number) == PM_RC_OK) == (key == 4));
        REQUIRE((property_map_get_string(map, key, text, sizeof(text)) == PM_RC_OK) == (key == 5));
        REQUIRE((property_map_get_string_ref(map, key, &textRef) == PM_RC_OK) == (key == 5));
        REQUIRE((property_map_get_string_buffer_size(map, key, &size) == PM_RC_OK) == (key == 5));
        REQUIRE((property_map_get_binary_data(map, key, data, 20, &length) == PM_RC_OK) == (key >= 6));
        REQUIRE((property_map_get_binary_data_ref(map, key, &dataRef, &length) == PM_RC_OK) == (key >= 6));
        REQUIRE((property_map_get_binary_data_buffer_size(map, key, &size) == PM_RC_OK) == (key >= 6));
        REQUIRE(integer == (key == 1 ? -7 : 0) && flag == (key == 2) && single == (key == 3 ? 1.5f : 0));
        REQUIRE(number == (key == 4 ? 2.5 : 0) && (key != 5 || (strcmp(text, "text") == 0 && size == 5)));
        REQUIRE(key == 5 ? strcmp(textRef, "text") == 0 : textRef == NULL);
        REQUIRE(length == (key < 6 ? 0 : key == 6 ? 3u : 20u) && (dataRef == NULL) == (key < 6));
        REQUIRE(key < 6 || (size == length && memcmp(data, dataRef, length) == 0));
    }
    property_map_free(map);
    property_map_free(NULL);
    return 0;
}

int callSetsAndRemovals(void)
{
    uint8_t buffer[200], innerBuffer[30], data[] = {9};
    property_map* map = fill(buffer, sizeof(buffer));
    property_map* inner = property_map_create(innerBuffer, sizeof(innerBuffer));
    const uint32_t before = property_map_get_empty_space(map);
    for (int32_t key = 1; key <= 8; ++key) {
        const PropertyMap_ReturnCode refused = key == 8 ? PM_RC_KEY_NOT_FOUND : PM_RC_TYPE_MISMATCH;
        REQUIRE(property_map_set_int(map, key, 70) == (key == 1 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_bool(map, key, false) == (key == 2 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_float(map, key, 7.5f) == (key == 3 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_double(map, key, 8.5) == (key == 4 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_string(map, key, "longer") == (key == 5 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_binary_data(map, key, data, 1) == (key == 6 ? PM_RC_OK : refused));
        REQUIRE(property_map_set_property_map(map, key, inner) == (key == 7 ? PM_RC_OK : refused));
    }
    REQUIRE(property_map_get_empty_space(map) == before - 2 + 2 - 10);
    property_map_free(inner);
    property_map_free(map);

    /* The handle is gone, the buffer is not. */
    map = property_map_create_by_map_buffer(buffer);
    int32_t integer = 0;
    double number = 0;
    REQUIRE(property_map_get_int(map, 1, &integer) == PM_RC_OK && integer == 70);
    REQUIRE(property_map_get_double(map, 4, &number) == PM_RC_OK && number == 8.5);
    REQUIRE(property_map_remove_key(map, 1) == PM_RC_OK && property_map_remove_key(map, 1) == PM_RC_KEY_NOT_FOUND);
    property_map_remove_all(map);
    REQUIRE(property_map_get_num_entries(map) == 0);
    property_map_print_content(map);
    property_map_free(map);
    return 0;
}

int callExchange(void)
{
    uint8_t buffer[200], copy[200], form[200], target[200];
    const uint8_t* data = NULL;
    property_map* map = fill(buffer, sizeof(buffer));
    REQUIRE(property_map_serialize(map, copy) == 200 && memcmp(copy, buffer, 200) == 0);
    REQUIRE(property_map_get_serialized_data(map, &data) == 200 && data == buffer);
    REQUIRE(property_map_is_well_formed(copy, 200) && !property_map_is_well_formed(copy, 199));

    const unsigned int length = property_map_check_externalized_size(map);
    uint32_t consumed = 0;
    REQUIRE(property_map_externalize(map, form, length - 1) == 0);
    REQUIRE(property_map_externalize(map, form, length) == length);
    REQUIRE(property_map_is_well_formed_externalized(form, length, &consumed) && consumed == length);
    REQUIRE(!property_map_is_well_formed_externalized(form, length - 1, NULL));

    property_map* received = property_map_create(target, property_map_read_externalized_size(NULL, form));
    const uint8_t* cursor = form;
    REQUIRE(property_map_initialize(received, &cursor) == PM_RC_OK && cursor == form + length);
    REQUIRE(property_map_get_empty_space(received) == 0 && property_map_get_num_entries(received) == 7);
    property_map_free(received);
    property_map_free(map);
    return 0;
}
