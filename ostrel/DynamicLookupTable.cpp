#include "ostrel/DynamicLookupTable.h"

namespace Ostrel {

namespace {

const signed char OPEN = -1;

/// Letters and digits stand where the small letter or digit has its code, all others are open: some signs lie between
/// capitals and small letters, so that their place depends on which of the two is compared. The capital I is open too,
/// for in Turkish it is no i.
constexpr std::array<signed char, 256> makePlaces()
{
    std::array<signed char, 256> places = {};
    for (signed char& place : places)
        place = OPEN;
    for (signed char digit = '0'; digit <= '9'; ++digit)
        places[static_cast<size_t>(digit)] = digit;
    for (signed char letter = 'a'; letter <= 'z'; ++letter) {
        places[static_cast<size_t>(letter)] = letter;
        places[static_cast<size_t>(letter - 'a' + 'A')] = letter == 'i' ? OPEN : letter;
    }
    return places;
}

} // namespace

// Made by the compiler: tables may be used before the constructors of static objects have run. Not `constexpr`, which
// would make it an inline variable, and such a one keeps the library mapped after `dlclose`.
const std::array<signed char, 256> TextKeyOrder::_places = makePlaces();

} // namespace Ostrel
