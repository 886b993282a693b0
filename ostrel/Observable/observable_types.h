/* What the C and the C++ side of the observables share: return codes and event ids. Compiles as C11. */
#pragma once

#include <stdint.h>

/* The id of an event; its meaning is the caller's. */
typedef int32_t Event_Type;

/* Values are fixed and only ever appended. */
typedef enum Observable_ReturnCode {
    OBSERVABLE_OK = 0,
    OBSERVABLE_OBSERVER_NOT_FOUND = 1,  /* the observer is not registered for the event */
    OBSERVABLE_INSUFFICIENT_MEMORY = 2, /* the registry buffer cannot take the registration */
    OBSERVABLE_EVENT_NOT_FOUND = 3,     /* no observer is registered for the event */
    OBSERVABLE_NOT_SUPPORTED = 4        /* the implementation does not support the operation */
} Observable_ReturnCode;
