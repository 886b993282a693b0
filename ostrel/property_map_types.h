/* What the C++ and the C interface of property maps share. The values are part of the buffer format and of what callers
 * compare with; they are only ever appended. */
#pragma once

/* The size of a buffer that takes some entries, for arrays of a fixed size in C and C++; all are constant expressions.
 *
 *     static unsigned char settings[PM_STORAGE(2 * PM_ENTRY_INT + PM_ENTRY_BOOL + PM_ENTRY_STRING(20))];
 *
 * A map in such a buffer takes exactly these entries and is full then. Lengths of texts are bytes without the
 * terminator, those of nested maps the size of their whole buffer. A buffer is at most 0x00FFFFFF bytes. Each value
 * takes what it has when the map is fullest: a longer text needs its room before the shorter one gives up its own. */
#define PM_STORAGE(entries) (8u + (entries))
#define PM_ENTRY_BOOL 8u
#define PM_ENTRY_INT 8u
#define PM_ENTRY_FLOAT 8u
#define PM_ENTRY_INT_WITH_LONG_KEY 12u /* Keys outside 0..0x00FFFFFF. Other types do not need more for them. */
#define PM_ENTRY_FLOAT_WITH_LONG_KEY 12u
#define PM_ENTRY_DOUBLE 16u
#define PM_ENTRY_STRING(length) (9u + (length))
#define PM_ENTRY_BINARY(length) (12u + (length))
#define PM_ENTRY_PROPERTY_MAP(size) (12u + (size))

/* What the value of a key is. */
typedef enum PropertyMap_ValueType {
    PM_TYPE_BOOL = 0,
    PM_TYPE_INT = 1,
    PM_TYPE_FLOAT = 2,
    PM_TYPE_DOUBLE = 3,
    PM_TYPE_STRING = 4,
    PM_TYPE_BINARY = 5,
    PM_TYPE_PROPERTY_MAP = 6,
    PM_MAX_TYPE = 8 /* The bound, no type. 7 is never created. */
} PropertyMap_ValueType;

/* What operations on property maps answer. */
typedef enum PropertyMap_ReturnCode {
    PM_RC_OK = 0,
    PM_RC_NO_SPACE = 1,         /* The free space cannot take the new or larger value; nothing changed. */
    PM_RC_KEY_NOT_FOUND = 2,    /* The key is not in the map. */
    PM_RC_TYPE_MISMATCH = 3,    /* The stored type is not the type of the operation; nothing is converted. */
    PM_RC_BUFFER_TOO_SMALL = 5, /* The destination cannot take all of it. */
    PM_RC_KEY_EXISTS = 6        /* Insert of a key that is present. */
} PropertyMap_ReturnCode;
