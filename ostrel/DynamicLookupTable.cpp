#include "ostrel/DynamicLookupTable.h"

namespace Ostrel {

namespace {

/// Letters and digits stand where the small letter or digit has its code, all others are open: some signs lie between
/// capitals and small letters, so that their place depends on which of the two is compared. The capital I is open too,
/// for in Turkish it is no i.
constexpr std::array<unsigned char, 256> makePlaces(unsigned char open)
{
    std::array<unsigned char, 256> places = {};
    for (unsigned char& place : places)
        place = open;
    for (unsigned char digit = '0'; digit <= '9'; ++digit)
        places[digit] = digit;
    for (unsigned char letter = 'a'; letter <= 'z'; ++letter) {
        places[letter] = letter;
        places[letter - 'a' + 'A'] = letter == 'i' ? open : letter;
    }
    return places;
}

} // namespace

// Made by the compiler: tables may be used before the constructors of static objects have run. Not `constexpr`, which
// would make it an inline variable, and such a one keeps the library mapped after `dlclose`.
const std::array<unsigned char, 256> TextKeyOrder::_places = makePlaces(OPEN);

} // namespace Ostrel
