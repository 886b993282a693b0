/// Not installed: internal to the library.
///
/// How deep data may lead the library's recursive steps.
#pragma once

namespace Ostrel {

/// Trees that make sense are far from it, and the stack of a small thread holds it.
const unsigned int MAX_NESTING = 1000;

} // namespace Ostrel
