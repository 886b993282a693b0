#include "ostrel/internal/FixedPoint.h"

#include <cfenv>
#include <cstdint>
#include <langinfo.h>

#include "ostrel/Unaligned.h"
#include "ostrel/internal/IntegerPiece.h"
#include "ostrel/internal/Wide.h"

namespace Ostrel {

namespace {

const unsigned int TENS[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};
const unsigned int MOST_DIGITS = 9;

const int MANTISSA_BITS = 52;
const int EXPONENT_OF_ONE = 1075; // of a mantissa that is taken for an integer

/// A magnitude below 2^49, in which `IntegerPiece` counts digits plainly, by its whole part and 64 bits behind the
/// point.
struct Magnitude
{
    uint64_t whole;
    uint64_t fraction;
};

/// False when the bits do not suffice.
bool split(uint64_t bits, Magnitude& magnitude)
{
    const int LEAST_SHIFT = 4;
    const int MOST_SHIFT = 63;
    if (bits << 1 == 0) {
        magnitude = {0, 0};
        return true;
    }
    const int shift = EXPONENT_OF_ONE - static_cast<int>(bits >> MANTISSA_BITS & 0x7FF);
    if (shift < LEAST_SHIFT || shift > MOST_SHIFT)
        return false;
    const uint64_t hiddenOne = uint64_t{1} << MANTISSA_BITS;
    const uint64_t mantissa = (bits & (hiddenOne - 1)) | hiddenOne;
    magnitude = {mantissa >> shift, mantissa << (64 - shift)};
    return true;
}

} // namespace

bool isLocalePointDot()
{
    const char* point = nl_langinfo(RADIXCHAR);
    return point[0] == '.' && point[1] == '\0';
}

unsigned int writeFixed(char* to, double value, unsigned int digits)
{
    const uint64_t bits = loadU64(&value);
    Magnitude magnitude;
    if (digits > MOST_DIGITS || !split(bits, magnitude) || fegetround() != FE_TONEAREST || !isLocalePointDot())
        return 0;
    // Exact: whole digits above, what is to be rounded below. A tie goes to the even digit.
    const uint64_t HALF = uint64_t{1} << 63;
    Wide shifted = multiply(magnitude.fraction, TENS[digits]);
    const uint64_t last = digits == 0 ? magnitude.whole : shifted.high;
    if (shifted.low > HALF || (shifted.low == HALF && last % 2 != 0))
        ++shifted.high;
    if (shifted.high == TENS[digits]) {
        shifted.high = 0;
        ++magnitude.whole;
    }
    char* end = to;
    if (bits >> 63 != 0)
        *end++ = '-';
    end = IntegerPiece(static_cast<long long>(magnitude.whole)).writeTo(end);
    if (digits != 0) {
        // A one ahead keeps the zeros behind the point, and gives it its place.
        char* const point = end;
        end = IntegerPiece(static_cast<long long>(TENS[digits] + shifted.high)).writeTo(end);
        *point = '.';
    }
    return static_cast<unsigned int>(end - to);
}

} // namespace Ostrel
