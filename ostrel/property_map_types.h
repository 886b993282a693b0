/* What the C++ and the C interface of property maps share. The values are part of the buffer format and of what callers
 * compare with; they are only ever appended. */
#pragma once

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
