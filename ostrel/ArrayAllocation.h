#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

namespace Ostrel {

/// An array from `new[]`, its elements default-initialized; null when there is no memory, however large the length.
template <class T>
T* allocateArray(uint64_t length)
{
    // For an array beyond the address space even this form of `new` throws, and its own header counts too: 64 bytes are
    // more than that takes.
    const uint64_t most = (PTRDIFF_MAX - 64) / sizeof(T); // NOLINT(bugprone-sizeof-expression): T may be a pointer
    return length > most ? nullptr : new (std::nothrow) T[static_cast<size_t>(length)];
}

} // namespace Ostrel
