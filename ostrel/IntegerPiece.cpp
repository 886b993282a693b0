#include "ostrel/internal/IntegerPiece.h"

#include <cmath>
#include <cstring>

#include "ostrel/internal/Wide.h"

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

// The quotients by products with the reciprocal, as compilers make them unless they save space: then each would be a
// call, of a hundred instructions where a long long is divided on 32 bits.

uint32_t divideByHundred(uint32_t value) ///< Below 10^4.
{
    // 2^19 / 100, rounded up
    return value * 5243 >> 19;
}

uint32_t divideByTenThousand(uint32_t value)
{
    // 2^45 / 10^4, rounded up
    return static_cast<uint32_t>(value * uint64_t{3518437209u} >> 45);
}

uint64_t divideByBillion(uint64_t value)
{
    // As by 5^9, after the 2^9 in it: 2^75 / 5^9, rounded up
    return multiply(value >> 9, 0x44B82FA09B5A53).high >> 11;
}

void writePair(char* to, unsigned int value)
{
    memcpy(to, DIGIT_PAIRS + 2 * value, 2);
}

/// Writes a value of no more than `digits` digits, filled up with zeros.
void writeDigits(char* end, unsigned int value, unsigned int digits)
{
    while (digits >= 4) {
        // Four at a time shorten the chain of steps that wait for each other.
        const unsigned int rest = divideByTenThousand(value);
        const unsigned int four = value - rest * 10000;
        const unsigned int upper = divideByHundred(four);
        end -= 4;
        writePair(end, upper);
        writePair(end + 2, four - upper * 100);
        digits -= 4;
        value = rest;
    }
    if (digits >= 2) {
        const unsigned int rest = divideByHundred(value);
        end -= 2;
        writePair(end, value - rest * 100);
        digits -= 2;
        value = rest;
    }
    if (digits == 1)
        end[-1] = static_cast<char>('0' + value);
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
    for (; digits > 9; digits -= 9, chunkEnd -= 9) {
        const unsigned long long upper = divideByBillion(rest);
        writeDigits(chunkEnd, static_cast<unsigned int>(rest - upper * NINE_DIGITS), 9);
        rest = upper;
    }
    writeDigits(chunkEnd, static_cast<unsigned int>(rest), digits);
    return end;
}

} // namespace Ostrel
