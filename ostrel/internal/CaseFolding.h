/// Not installed: internal to the library.
#pragma once

#include <cstdint>

namespace Ostrel {

/// Letters that fold alike: `first`, `first + step` ... `first + span`, each to the code point that lies `shift`
/// behind.
struct CaseFolding
{
    uint32_t first;
    uint8_t span;
    uint8_t step; ///< 1 or 2.
    int16_t shift;
};

enum { CASE_FOLDING_COUNT = 123 };

/// The one-to-one case foldings of Unicode 4.1, ascending by letter. Internal: callers use `tableSearch`.
extern const CaseFolding CASE_FOLDINGS[CASE_FOLDING_COUNT];

} // namespace Ostrel
