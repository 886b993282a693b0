/// Not installed: internal to the library.
#pragma once

namespace Ostrel {

const unsigned int MOST_FIXED_SIZE = 40;

/// Whether the C library writes and reads the point of a number as a dot.
bool isLocalePointDot();

/// Writes `value` to at most `MOST_FIXED_SIZE` bytes as "%.*f" does, without a terminator. The length; 0 where that
/// takes the C library: for many digits, large and tiny values, and what is no number.
unsigned int writeFixed(char* to, double value, unsigned int digits);

} // namespace Ostrel
