/* Property map for C: a typed key/value map inside one buffer of the caller, which is handed on as plain bytes.
 *
 * The buffer stays the caller's: property_map_free() releases the handle alone, and a new handle over the same bytes
 * reads on. A null handle stops the process unless a function says otherwise; the other pointers, a second map's too,
 * are not looked at and must not be null unless a function says so. Other failures are codes. Sizes, lengths and
 * offsets are bytes. Nothing locks, and a change is many writes: keep readers out meanwhile, in other processes too.
 * The byte formats are in docs/property-map-format.md.
 *
 * Between processes of the same byte order the buffer itself is exchanged. Otherwise the sender asks
 * property_map_check_externalized_size(), calls property_map_externalize() and sends the bytes; the receiver asks
 * property_map_read_externalized_size(), creates a map over a buffer of at least that size and calls
 * property_map_initialize() with a cursor at the bytes. Bytes that may be broken are checked first. */
#pragma once

#include <stdbool.h>
#include <stdint.h>

#include "ostrel/Export.h"
#include "ostrel/property_map_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The handle of a map. */
typedef struct property_map property_map;

/* Formats the buffer as an empty map; a size outside 8..0x00FFFFFF stops the process. Handles are allocated the
 * ordinary way: exhausted memory is a C++ exception. */
OSTREL_EXPORT property_map* property_map_create(uint8_t* buffer, uint32_t size);

/* A handle over a buffer that holds a map; nothing is read or written. */
OSTREL_EXPORT property_map* property_map_create_by_map_buffer(uint8_t* buffer);

/* A handle over bytes that cannot or must not be written, as those of a file that is mapped read-only: for all
 * functions that take a constant handle. Nothing is read or written, and none of them writes later;
 * property_map_initialize, the one that would, stops the process. Null when memory is exhausted. Given back to
 * property_map_detach_const. */
OSTREL_EXPORT const property_map* property_map_attach_const(const uint8_t* buffer);

/* Releases a handle of property_map_attach_const. Null is ignored. */
OSTREL_EXPORT void property_map_detach_const(const property_map* map);

/* Null is ignored. */
OSTREL_EXPORT void property_map_free(property_map* map);

/* Whether the bytes can be used as a map without any operation leaving them. Ask once about bytes that another process
 * wrote; where it can still write, about a copy. The map may be smaller than `size`. Maps with more than 32 KB of
 * values take some heap meanwhile, and longer where it is refused. */
OSTREL_EXPORT bool property_map_is_well_formed(const uint8_t* buffer, uint32_t size);

/* Whether the bytes begin with a complete form that property_map_initialize can read into a buffer of
 * property_map_read_externalized_size bytes, which may be more than the records need. Then `*consumed`, which may be
 * null, is its length. */
OSTREL_EXPORT bool property_map_is_well_formed_externalized(const uint8_t* data, uint32_t length, uint32_t* consumed);

/* The number of keys. */
OSTREL_EXPORT uint32_t property_map_get_num_entries(const property_map* map);

/* Of the whole buffer. */
OSTREL_EXPORT uint32_t property_map_get_size(const property_map* map);
/* What new values and keys can still take. */
OSTREL_EXPORT uint32_t property_map_get_empty_space(const property_map* map);
/* Whether the key is in the map. */
OSTREL_EXPORT bool property_map_has_key(const property_map* map, int32_t key);

/* PM_RC_KEY_NOT_FOUND. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_key_type(const property_map* map, int32_t key,
                                                               PropertyMap_ValueType* type);

/* Keys in ascending order. PM_RC_BUFFER_TOO_SMALL: those that fit were written; `*num_keys` counts these. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_all_keys(const property_map* map, int32_t* keys,
                                                               uint32_t max_keys, uint32_t* num_keys);

/* All inserts: PM_RC_KEY_EXISTS, then PM_RC_NO_SPACE; a refused one leaves every byte as it was. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_insert_string(property_map* map, int32_t key, const char* text);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_insert_int(property_map* map, int32_t key, int32_t value);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_insert_bool(property_map* map, int32_t key, bool value);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_insert_float(property_map* map, int32_t key, float value);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_insert_double(property_map* map, int32_t key, double value);
/* Null data reserves the bytes without clearing them. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_insert_binary_data(property_map* map, int32_t key, uint8_t* data,
                                                                     uint32_t length);
/* The other map's whole buffer is copied, free space included. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_insert_property_map(property_map* map, int32_t key,
                                                                      const property_map* other);

/* What property_map_get_string needs, terminator counted. PM_RC_KEY_NOT_FOUND, PM_RC_TYPE_MISMATCH. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_string_buffer_size(const property_map* map, int32_t key,
                                                                         uint32_t* size);

/* The same for binary data and nested maps. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_binary_data_buffer_size(const property_map* map, int32_t key,
                                                                              uint32_t* size);

/* All gets: PM_RC_KEY_NOT_FOUND, PM_RC_TYPE_MISMATCH; they leave the outputs alone, except that the references become
 * null and their length 0.
 *
 * Copies the text, always terminated. `size` counts the terminator and is at least 1. PM_RC_BUFFER_TOO_SMALL: the
 * beginning that fits was copied. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_string(const property_map* map, int32_t key, char* dest,
                                                             uint32_t size);
/* Points into the buffer, until the next change of the map. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_string_ref(const property_map* map, int32_t key,
                                                                 const char** ref);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_int(const property_map* map, int32_t key, int32_t* value);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_bool(const property_map* map, int32_t key, bool* value);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_float(const property_map* map, int32_t key, float* value);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_double(const property_map* map, int32_t key, double* value);
/* Binary data or a nested map. PM_RC_BUFFER_TOO_SMALL: nothing was copied. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_binary_data(const property_map* map, int32_t key, uint8_t* dest,
                                                                  uint32_t size, uint32_t* length);
/* Points into the buffer, until the next change of the map. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_get_binary_data_ref(const property_map* map, int32_t key,
                                                                      const uint8_t** ref, uint32_t* length);

/* All sets: PM_RC_KEY_NOT_FOUND, PM_RC_TYPE_MISMATCH (a key keeps its type), then PM_RC_NO_SPACE where the size may
 * grow. The data must not lie inside this map. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_set_string(property_map* map, int32_t key, const char* text);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_set_int(property_map* map, int32_t key, int32_t value);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_set_bool(property_map* map, int32_t key, bool value);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_set_float(property_map* map, int32_t key, float value);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_set_double(property_map* map, int32_t key, double value);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_set_binary_data(property_map* map, int32_t key, uint8_t* data,
                                                                  uint32_t length);
OSTREL_EXPORT PropertyMap_ReturnCode property_map_set_property_map(property_map* map, int32_t key,
                                                                   const property_map* other);

/* PM_RC_KEY_NOT_FOUND. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_remove_key(property_map* map, int32_t key);

/* Clears no bytes. */
OSTREL_EXPORT void property_map_remove_all(property_map* map);

/* Every entry and the overhead, on standard output. */
OSTREL_EXPORT void property_map_print_content(const property_map* map);

/* Copies the whole buffer and returns its size. For hosts of the same byte order only. */
OSTREL_EXPORT unsigned int property_map_serialize(property_map* map, uint8_t* dest);

/* The buffer itself and its size. */
OSTREL_EXPORT unsigned int property_map_get_serialized_data(property_map* map, const uint8_t** data);

/* The bytes that property_map_externalize needs. */
OSTREL_EXPORT unsigned int property_map_check_externalized_size(const property_map* map);

/* Writes the form that hosts of any byte order read. Returns its length, 0 when it does not fit. */
OSTREL_EXPORT unsigned int property_map_externalize(const property_map* map, uint8_t* dest, unsigned int size);

/* The buffer size that property_map_initialize needs for the form at `buffer`. The handle is not used and may be
 * null. */
OSTREL_EXPORT unsigned int property_map_read_externalized_size(const property_map* map, const uint8_t* buffer);

/* Replaces the content by that of the form at `*cursor`, which moves behind what was read. Keys may come in any order;
 * ascending is fastest. PM_RC_BUFFER_TOO_SMALL: the map's buffer is smaller than the form asks for; the map is empty.
 * PM_RC_TYPE_MISMATCH: an unknown type; the map is empty. PM_RC_KEY_EXISTS, PM_RC_NO_SPACE: the form contradicts
 * itself; the entries before that stay. A failure in a nested form gives the same code, and the entries before it and
 * the nested map stay. A form that is cut off is read beyond its end, and a nested size outside 8..0x00FFFFFF stops the
 * process: check forms from outside. */
OSTREL_EXPORT PropertyMap_ReturnCode property_map_initialize(const property_map* map, const uint8_t** cursor);

#ifdef __cplusplus
}
#endif
