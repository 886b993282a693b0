#include "ostrel/internal/IntegerPiece.h"

#include <cmath>
#include <cstring>

namespace Ostrel {

namespace {

const unsigned int NINE_DIGITS = 1000000000;

const char DIGIT_PAIRS[] = "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
                           "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
                           "8081828384858687888990919293949596979899";

/// For values below 10^9.
unsigned int countDigits(unsigned int value)
{
    if (value < 10000)
        return value < 100 ? (value < 10 ? 1 : 2) : (value < 1000 ? 3 : 4);
    if (value < 100000000)
        return value < 1000000 ? (value < 100000 ? 5 : 6) : (value < 10000000 ? 7 : 8);
    return 9;
}

/// The count is what the logarithm in double precision gives: a magnitude just below 10^15 or a higher power of ten is
/// rounded up to that power, gets one digit too many and goes out with a leading 0. Readers have always got it so.
unsigned int countLongDigits(unsigned long long magnitude)
{
    unsigned int digits = 10;
    unsigned long long power = 10000000000u;
    for (; magnitude >= power; power *= 10)
        ++digits;
    // The logarithm's error is less than a hundredth of the distance taken here; elsewhere the plain count is the same.
    if (digits < 15 || power - magnitude > power / 10000000000000u)
        return digits;
    return static_cast<unsigned int>(floor(log10(static_cast<double>(magnitude)))) + 1;
}

void writePair(char* to, unsigned int value)
{
    memcpy(to, DIGIT_PAIRS + 2 * value, 2);
}

/// Writes the lowest `digits` digits, filled up with zeros.
void writeDigits(char* end, unsigned int value, unsigned int digits)
{
    for (; digits >= 4; digits -= 4, value /= 10000) {
        // Four at a time shorten the chain of divisions that wait for each other.
        end -= 4;
        writePair(end, value % 10000 / 100);
        writePair(end + 2, value % 100);
    }
    for (; digits >= 2; digits -= 2, value /= 100) {
        end -= 2;
        writePair(end, value % 100);
    }
    if (digits == 1)
        end[-1] = static_cast<char>('0' + value % 10);
}

} // namespace

IntegerPiece::IntegerPiece(long long value)
    : _magnitude(value < 0 ? 0 - static_cast<unsigned long long>(value) : static_cast<unsigned long long>(value)),
      _digits(_magnitude < NINE_DIGITS ? countDigits(static_cast<unsigned int>(_magnitude))
                                       : countLongDigits(_magnitude))
{}

char* IntegerPiece::writeTo(char* to) const
{
    char* const end = to + _digits;
    unsigned long long rest = _magnitude;
    unsigned int digits = _digits;
    char* chunkEnd = end;
    for (; digits > 9; digits -= 9, chunkEnd -= 9, rest /= NINE_DIGITS)
        writeDigits(chunkEnd, static_cast<unsigned int>(rest % NINE_DIGITS), 9);
    writeDigits(chunkEnd, static_cast<unsigned int>(rest), digits);
    return end;
}

} // namespace Ostrel
