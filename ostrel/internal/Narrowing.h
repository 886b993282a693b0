/// Not installed: internal to the library.
#pragma once

namespace Ostrel {

/// The low 32 bits of `value`, as every receiver that knows only `int` gets them.
inline int toLow32Bits(long long value)
{
    return static_cast<int>(static_cast<unsigned int>(value));
}

} // namespace Ostrel
