#pragma once

#include <memory>

namespace Ostrel {

/// Single owner. A function that takes one by value takes the object over; an empty one stands for the absence of an
/// object, which is what factories return when memory is exhausted. Move-only: write `std::move` at the call.
template <class T>
using AutoPtr = std::unique_ptr<T>;

} // namespace Ostrel
