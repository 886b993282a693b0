#include "json/internal/JsonNumber.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "ostrel/Unaligned.h"
#include "ostrel/internal/ByteBlock.h"
#include "ostrel/internal/Wide.h"

namespace json {

namespace {

using Ostrel::multiply;
using Ostrel::Wide;

const int MOST_DIGITS = 19; // of which every number fits into 64 bits

// Outside these powers a number is rare enough for the C library.
const int LEAST_POWER = -64;
const int GREATEST_POWER = 55; // the last power of five that fits into 128 bits

const int CUT_BITS = 11; // of 64, for the 53 bits of a double
const uint32_t HALF = 1U << (CUT_BITS - 1);

const unsigned long long GREATEST_EXACT_INTEGER = 999999999999999; // below 2^53; long fractions are never near it
const int GREATEST_EXACT_POWER = 22;
const double EXACT_POWERS_OF_TEN[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                      1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

/// The leading 128 bits of five to each power, the first of them set, the rest cut off.
struct PowersOfFive
{
    Wide entries[GREATEST_POWER - LEAST_POWER + 1] = {};
};

/// The leading 128 bits of a number of 32-bit limbs, lowest limb first.
template <int N>
constexpr Wide takeLeadingBits(const uint32_t (&limbs)[N])
{
    int top = N - 1;
    while (limbs[top] == 0)
        --top;
    uint32_t taken[5] = {};
    for (int i = 0; i < 5 && top - i >= 0; ++i)
        taken[i] = limbs[top - i];
    Wide bits = {uint64_t{taken[0]} << 32 | taken[1], uint64_t{taken[2]} << 32 | taken[3]};
    for (uint32_t rest = taken[4]; (bits.high >> 63) == 0; rest <<= 1) {
        bits.high = bits.high << 1 | bits.low >> 63;
        bits.low = bits.low << 1 | rest >> 31;
    }
    return bits;
}

/// Multiplying one and dividing 2^319 by five again and again is exact but for what the division cuts off.
constexpr PowersOfFive makePowersOfFive()
{
    PowersOfFive powers;
    uint32_t product[4] = {1};
    for (int power = 0; power <= GREATEST_POWER; ++power) {
        powers.entries[power - LEAST_POWER] = takeLeadingBits(product);
        uint64_t carry = 0;
        for (uint32_t& limb : product) {
            carry += uint64_t{limb} * 5;
            limb = static_cast<uint32_t>(carry);
            carry >>= 32;
        }
    }
    uint32_t quotient[10] = {};
    quotient[9] = 0x80000000;
    for (int power = -1; power >= LEAST_POWER; --power) {
        uint64_t rest = 0;
        for (int i = 9; i >= 0; --i) {
            rest = rest << 32 | quotient[i];
            quotient[i] = static_cast<uint32_t>(rest / 5);
            rest %= 5;
        }
        powers.entries[power - LEAST_POWER] = takeLeadingBits(quotient);
    }
    return powers;
}

constexpr PowersOfFive POWERS_OF_FIVE = makePowersOfFive();

/// Exact below 2^53. Processors with registers of 32 bits convert no longer words, and a call would take their place.
inline double toDouble(unsigned long long digits)
{
    if (sizeof(size_t) >= sizeof(digits))
        return static_cast<double>(static_cast<long long>(digits));
    const double UPPER_ONE = 4294967296.0;
    return static_cast<double>(static_cast<uint32_t>(digits >> 32)) * UPPER_ONE +
           static_cast<double>(static_cast<uint32_t>(digits));
}

/// digits * 10^power, rounded to the nearest double; false when 128 bits of the product cannot tell which one it is.
///
/// The table entry is cut off by less than one unit, so the leading 128 bits of the product are too small by less
/// than two. That matters only right below and at the middle between two doubles.
inline bool scaleByPowerOfTen(uint64_t digits, int power, bool isNegative, double& result)
{
    const Wide& five = POWERS_OF_FIVE.entries[power - LEAST_POWER];
    const int shift = __builtin_clzll(digits);
    const Wide upper = multiply(digits << shift, five.high);
    const Wide lower = multiply(digits << shift, five.low);
    Wide product = {upper.high, upper.low + lower.high};
    product.high += product.low < upper.low;
    const int leadingBit = static_cast<int>(product.high >> 63);
    if (leadingBit == 0) {
        product.high = product.high << 1 | product.low >> 63;
        product.low <<= 1;
    }

    // A double takes the first 53 of the 128 bits, which leaves 75 to round by. The last one may have been shifted in.
    uint64_t fraction = product.high >> CUT_BITS;
    const uint32_t cut = static_cast<uint32_t>(product.high) & (2 * HALF - 1);
    if ((cut == HALF && product.low == 0) || (cut == HALF - 1 && (product.low | 1) == UINT64_MAX))
        return false;
    fraction += cut >= HALF;

    // floor(log2(10^power)), exact for every power of the table
    const int binaryPower = (power * 217706) >> 16;
    const uint64_t exponent = static_cast<uint64_t>(1023 + 63 + binaryPower - shift + leadingBit);
    // Rounding up to the next power of two carries into the exponent, which is just right.
    const uint64_t bits = (uint64_t{isNegative} << 63) + (exponent << 52) + (fraction - (uint64_t{1} << 52));
    memcpy(&result, &bits, sizeof(result));
    return true;
}

inline bool isDigit(char byte)
{
    return static_cast<unsigned char>(byte - '0') < 10;
}

inline bool isExponentMark(char byte)
{
    return byte == 'e' || byte == 'E';
}

/// Appends the digits at `text` to `digits`, one by one.
inline const char* gatherRest(const char* text, const char* end, unsigned long long& digits)
{
    for (; text != end && isDigit(*text); ++text)
        digits = digits * 10 + static_cast<unsigned char>(*text - '0');
    return text;
}

#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
/// Not 0 in each byte that is no digit. Bytes behind the first of them may be wrong, those before it are right.
inline uint64_t findOthers(uint64_t bytes)
{
    return ((bytes & 0xF0F0F0F0F0F0F0F0) | (((bytes + 0x0606060606060606) & 0xF0F0F0F0F0F0F0F0) >> 4)) ^
           0x3333333333333333;
}

/// The value of eight digits, the first in memory first.
inline uint32_t combineDigits(uint64_t bytes)
{
    bytes &= 0x0F0F0F0F0F0F0F0F;
    bytes = (bytes * 10 + (bytes >> 8)) & 0x00FF00FF00FF00FF;
    bytes = (bytes * 100 + (bytes >> 16)) & 0x0000FFFF0000FFFF;
    return static_cast<uint32_t>(bytes * 10000 + (bytes >> 32));
}

/// Appends the digits at `text`: eight at a time, then one by one, which is best where there are few.
inline const char* gatherDigits(const char* text, const char* end, unsigned long long& digits)
{
    for (; end - text >= 8 && isDigit(text[7]) && findOthers(Ostrel::loadU64(text)) == 0; text += 8)
        digits = digits * 100000000 + combineDigits(Ostrel::loadU64(text));
    return gatherRest(text, end, digits);
}

/// As `gatherDigits`, without a branch for each digit: fractions are long, and of any length.
inline const char* gatherFraction(const char* text, const char* end, unsigned long long& digits)
{
    static const unsigned int TENS[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000};
    for (; end - text >= 8; text += 8) {
        const uint64_t bytes = Ostrel::loadU64(text);
        const uint64_t others = findOthers(bytes);
        if (others != 0) {
            const unsigned int count = Ostrel::findLowestBit(others) / 8;
            if (count != 0) // what is shifted in counts as leading zeros
                digits = digits * TENS[count] + combineDigits(bytes << (64 - 8 * count));
            return text + count;
        }
        digits = digits * 100000000 + combineDigits(bytes);
    }
    return gatherRest(text, end, digits);
}
#else
inline const char* gatherDigits(const char* text, const char* end, unsigned long long& digits)
{
    return gatherRest(text, end, digits);
}

inline const char* gatherFraction(const char* text, const char* end, unsigned long long& digits)
{
    return gatherRest(text, end, digits);
}
#endif

/// Reads what follows the 'e'. False when there is no digit; `text` is then at the byte that is none.
inline bool scanExponent(const char*& text, const char* end, long long& exponent)
{
    const bool isNegative = text != end && *text == '-';
    if (text != end && (*text == '-' || *text == '+'))
        ++text;
    const long long FAR_TOO_MUCH = 1LL << 40; // beyond what any number of digits in memory makes up for
    const char* const first = text;
    long long value = 0;
    for (; text != end && isDigit(*text); ++text) {
        if (value < FAR_TOO_MUCH)
            value = value * 10 + (*text - '0');
    }
    exponent += isNegative ? -value : value;
    return text != first;
}

/// Whether `_digits` cannot hold the digits of [text, end), leading zeros aside.
bool hasTooManyDigits(const char* text, const char* end)
{
    while (text != end && (*text == '0' || *text == '.'))
        ++text;
    int count = 0;
    for (; text != end && count <= MOST_DIGITS; ++text)
        count += isDigit(*text) ? 1 : 0;
    return count > MOST_DIGITS;
}

} // namespace

inline void JsonNumber::setInteger(const char* first, const char* behind)
{
    // Both ends of the range count as overflow: that is how a reading that saturates shows it.
    if (behind - first > MOST_DIGITS && hasTooManyDigits(first, behind))
        return;
    if (_digits > static_cast<unsigned long long>(LLONG_MAX) || (!_isNegative && _digits == LLONG_MAX))
        return;
    kind = INTEGER;
    integer = _isNegative ? -static_cast<long long>(_digits) : static_cast<long long>(_digits);
}

inline void JsonNumber::setReal(unsigned long long digits, long long exponent)
{
    if (digits <= GREATEST_EXACT_INTEGER && exponent >= -GREATEST_EXACT_POWER && exponent <= GREATEST_EXACT_POWER) {
        // Both are doubles as they stand, so that the one operation rounds correctly.
        const double magnitude = toDouble(digits);
        real = exponent < 0 ? magnitude / EXACT_POWERS_OF_TEN[-exponent] : magnitude * EXACT_POWERS_OF_TEN[exponent];
        real = _isNegative ? -real : real;
    } else if (digits == 0) {
        real = _isNegative ? -0.0 : 0.0;
    } else if (exponent < LEAST_POWER || exponent > GREATEST_POWER ||
               !scaleByPowerOfTen(digits, static_cast<int>(exponent), _isNegative, real)) {
        return;
    }
    kind = REAL;
}

inline const char* JsonNumber::scanReal(const char* first, const char* point, const char* end)
{
    unsigned long long digits = _digits;
    long long exponent = 0;
    const char* text = point;
    if (*text == '.') {
        const char* const fraction = text + 1;
        text = gatherFraction(fraction, end, digits);
        if (text == fraction)
            return text;
        exponent = fraction - text;
    }
    const char* const behindDigits = text;
    if (text != end && isExponentMark(*text)) {
        ++text;
        if (!scanExponent(text, end, exponent))
            return text;
    }
    kind = UNDECIDED;
    const int pointSize = *point == '.' ? 1 : 0;
    if (behindDigits - first - pointSize <= MOST_DIGITS || !hasTooManyDigits(first, behindDigits))
        setReal(digits, exponent);
    return text;
}

const char* JsonNumber::scan(const char* text, const char* end)
{
    const bool isNegative = text != end && *text == '-';
    const char* const first = text + (isNegative ? 1 : 0);
    unsigned long long digits = 0;
    const char* const behind = gatherDigits(first, end, digits);
    kind = INVALID;
    _isNegative = isNegative;
    _digits = digits;
    if (behind == first)
        return behind;
    if (behind != end && (*behind == '.' || isExponentMark(*behind)))
        return scanReal(first, behind, end);
    setInteger(first, behind);
    return behind;
}

bool JsonNumberBytes::takes(char byte)
{
    if (!isDigit(byte) && !allows(byte))
        return false;
    _last = byte;
    _hasPoint = _hasPoint || byte == '.';
    _hasExponent = _hasExponent || isExponentMark(byte);
    return true;
}

/// Digits aside, which may stand anywhere.
bool JsonNumberBytes::allows(char byte) const
{
    switch (byte) {
    case '-':
        return _last == '\0' || isExponentMark(_last);
    case '+':
        return isExponentMark(_last);
    case '.':
        return isDigit(_last) && !_hasPoint && !_hasExponent;
    case 'e':
    case 'E':
        return isDigit(_last) && !_hasExponent;
    default:
        return false;
    }
}

} // namespace json
