/* What the C and the C++ side of the observables share: return codes and event ids. Compiles as C11. */
#pragma once

#include <stdint.h>

/* The id of an event; its meaning is the caller's. */
typedef int32_t Event_Type;

/* The size of a registry that takes some events with some observers each, for arrays of a fixed size in C and C++; both
 * are constant expressions.
 *
 *     static char registry[OBSERVABLE_STORAGE(3 * OBSERVABLE_EVENT(2) + OBSERVABLE_EVENT_WITH_LONG_ID(1))];
 *
 * Three events with two observers each, and one with one, whose id is outside -32767..32766, fill it exactly; but no
 * registry is smaller than 12 bytes. At most 65535 bytes can be given to an observable. */
#define OBSERVABLE_STORAGE(events) (4u + (events) < 12u ? 12u : 4u + (events))
#define OBSERVABLE_EVENT(observers) (4u + 4u * (observers))
#define OBSERVABLE_EVENT_WITH_LONG_ID(observers) (8u + 4u * (observers))

/* Values are fixed and only ever appended. */
typedef enum Observable_ReturnCode {
    OBSERVABLE_OK = 0,
    OBSERVABLE_OBSERVER_NOT_FOUND = 1,  /* the observer is not registered for the event */
    OBSERVABLE_INSUFFICIENT_MEMORY = 2, /* the registry buffer cannot take the registration */
    OBSERVABLE_EVENT_NOT_FOUND = 3,     /* no observer is registered for the event */
    OBSERVABLE_NOT_SUPPORTED = 4        /* the implementation does not support the operation */
} Observable_ReturnCode;
