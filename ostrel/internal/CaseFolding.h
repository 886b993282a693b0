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

enum {
    CASE_FOLDING_COUNT = 123,
    CASE_FOLDING_BLOCK = 16,    ///< Letters.
    CASE_FOLDING_BLOCKS = 0x53, ///< Those of the Latin, Greek and Cyrillic alphabets, up to U+052F.
};

/// The one-to-one case foldings of Unicode 4.1, ascending by letter. Internal: callers use `tableSearch`.
extern const CaseFolding CASE_FOLDINGS[CASE_FOLDING_COUNT];

/// For each block of letters the first row that reaches into it or lies behind.
struct CaseFoldingRows
{
    uint8_t rows[CASE_FOLDING_BLOCKS + 1];
};
extern const CaseFoldingRows CASE_FOLDING_ROWS;

} // namespace Ostrel
