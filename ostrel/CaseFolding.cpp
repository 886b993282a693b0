#include "ostrel/internal/CaseFolding.h"

namespace Ostrel {

// The one-to-one foldings (statuses C and S) of Unicode 4.1's CaseFolding.txt up to U+10427. Later versions fold
// U+0241 differently and know more letters; the order that these rows give stays: see docs/compatibility.md.
// clang-format off
constexpr CaseFolding CASE_FOLDINGS[CASE_FOLDING_COUNT] = {
    {0x41, 25, 1, 32}, {0xB5, 0, 1, 775}, {0xC0, 22, 1, 32}, {0xD8, 6, 1, 32}, {0x100, 46, 2, 1}, {0x132, 4, 2, 1},
    {0x139, 14, 2, 1}, {0x14A, 44, 2, 1}, {0x178, 0, 1, -121}, {0x179, 4, 2, 1}, {0x17F, 0, 1, -268},
    {0x181, 0, 1, 210}, {0x182, 2, 2, 1}, {0x186, 0, 1, 206}, {0x187, 0, 1, 1}, {0x189, 1, 1, 205}, {0x18B, 0, 1, 1},
    {0x18E, 0, 1, 79}, {0x18F, 0, 1, 202}, {0x190, 0, 1, 203}, {0x191, 0, 1, 1}, {0x193, 0, 1, 205}, {0x194, 0, 1, 207},
    {0x196, 0, 1, 211}, {0x197, 0, 1, 209}, {0x198, 0, 1, 1}, {0x19C, 0, 1, 211}, {0x19D, 0, 1, 213},
    {0x19F, 0, 1, 214}, {0x1A0, 4, 2, 1}, {0x1A6, 0, 1, 218}, {0x1A7, 0, 1, 1}, {0x1A9, 0, 1, 218}, {0x1AC, 0, 1, 1},
    {0x1AE, 0, 1, 218}, {0x1AF, 0, 1, 1}, {0x1B1, 1, 1, 217}, {0x1B3, 2, 2, 1}, {0x1B7, 0, 1, 219}, {0x1B8, 0, 1, 1},
    {0x1BC, 0, 1, 1}, {0x1C4, 0, 1, 2}, {0x1C5, 0, 1, 1}, {0x1C7, 0, 1, 2}, {0x1C8, 0, 1, 1}, {0x1CA, 0, 1, 2},
    {0x1CB, 16, 2, 1}, {0x1DE, 16, 2, 1}, {0x1F1, 0, 1, 2}, {0x1F2, 2, 2, 1}, {0x1F6, 0, 1, -97}, {0x1F7, 0, 1, -56},
    {0x1F8, 38, 2, 1}, {0x220, 0, 1, -130}, {0x222, 16, 2, 1}, {0x23B, 0, 1, 1}, {0x23D, 0, 1, -163}, {0x241, 0, 1, 83},
    {0x345, 0, 1, 116}, {0x386, 0, 1, 38}, {0x388, 2, 1, 37}, {0x38C, 0, 1, 64}, {0x38E, 1, 1, 63}, {0x391, 16, 1, 32},
    {0x3A3, 8, 1, 32}, {0x3C2, 0, 1, 1}, {0x3D0, 0, 1, -30}, {0x3D1, 0, 1, -25}, {0x3D5, 0, 1, -15}, {0x3D6, 0, 1, -22},
    {0x3D8, 22, 2, 1}, {0x3F0, 0, 1, -54}, {0x3F1, 0, 1, -48}, {0x3F4, 0, 1, -60}, {0x3F5, 0, 1, -64}, {0x3F7, 0, 1, 1},
    {0x3F9, 0, 1, -7}, {0x3FA, 0, 1, 1}, {0x400, 15, 1, 80}, {0x410, 31, 1, 32}, {0x460, 32, 2, 1}, {0x48A, 52, 2, 1},
    {0x4C1, 12, 2, 1}, {0x4D0, 40, 2, 1}, {0x500, 14, 2, 1}, {0x531, 37, 1, 48}, {0x10A0, 37, 1, 7264},
    {0x1E00, 148, 2, 1}, {0x1E9B, 0, 1, -58}, {0x1EA0, 88, 2, 1}, {0x1F08, 7, 1, -8}, {0x1F18, 5, 1, -8},
    {0x1F28, 7, 1, -8}, {0x1F38, 7, 1, -8}, {0x1F48, 5, 1, -8}, {0x1F59, 6, 2, -8}, {0x1F68, 7, 1, -8},
    {0x1F88, 7, 1, -8}, {0x1F98, 7, 1, -8}, {0x1FA8, 7, 1, -8}, {0x1FB8, 1, 1, -8}, {0x1FBA, 1, 1, -74},
    {0x1FBC, 0, 1, -9}, {0x1FBE, 0, 1, -7173}, {0x1FC8, 3, 1, -86}, {0x1FCC, 0, 1, -9}, {0x1FD8, 1, 1, -8},
    {0x1FDA, 1, 1, -100}, {0x1FE8, 1, 1, -8}, {0x1FEA, 1, 1, -112}, {0x1FEC, 0, 1, -7}, {0x1FF8, 1, 1, -128},
    {0x1FFA, 1, 1, -126}, {0x1FFC, 0, 1, -9}, {0x2126, 0, 1, -7517}, {0x212A, 0, 1, -8383}, {0x212B, 0, 1, -8262},
    {0x2160, 15, 1, 16}, {0x24B6, 25, 1, 26}, {0x2C00, 46, 1, 48}, {0x2C80, 98, 2, 1}, {0xFF21, 25, 1, 32},
    {0x10400, 39, 1, 40},
};
// clang-format on

namespace {

constexpr CaseFoldingRows makeRows()
{
    CaseFoldingRows found = {};
    uint8_t row = 0;
    for (uint32_t block = 0; block <= CASE_FOLDING_BLOCKS; ++block) {
        while (CASE_FOLDINGS[row].first + CASE_FOLDINGS[row].span < block * CASE_FOLDING_BLOCK)
            ++row;
        found.rows[block] = row;
    }
    return found;
}

} // namespace

constexpr CaseFoldingRows CASE_FOLDING_ROWS = makeRows();

} // namespace Ostrel
