/// Not installed: internal to the library.
#pragma once

#include <cstddef>
#include <cstring>

namespace Ostrel {

/// `memcpy` without a call where the text is short, as most keys and values are. The two must not overlap. Returns the
/// end of the copy.
inline char* copyBytes(char* to, const char* from, size_t size)
{
    char* const end = to + size;
    if (size > 32) {
        memcpy(to, from, size);
    } else if (size >= 16) {
        // The two halves overlap, here and below.
        memcpy(to, from, 16);
        memcpy(end - 16, from + size - 16, 16);
    } else if (size >= 8) {
        memcpy(to, from, 8);
        memcpy(end - 8, from + size - 8, 8);
    } else if (size >= 4) {
        memcpy(to, from, 4);
        memcpy(end - 4, from + size - 4, 4);
    } else if (size > 0) {
        to[0] = from[0];
        to[size / 2] = from[size / 2];
        end[-1] = from[size - 1];
    }
    return end;
}

} // namespace Ostrel
