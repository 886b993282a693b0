/// Not installed: internal to the library.
///
/// How deep data may lead the library's recursive steps.
#pragma once

namespace Ostrel {

/// Trees that make sense are far from it. A level takes up to half a KiB of stack on 64-bit hosts, so that it needs a
/// thread with 512 KiB.
const unsigned int MAX_NESTING = 1000;

} // namespace Ostrel
