/// The sizes that both formats of property maps share; `docs/property-map-format.md` has all of them.
#pragma once

#include <cstdint>

namespace Inspect {

const uint32_t MAP_HEADER_SIZE = 8;
const uint32_t MAP_ENTRY_SIZE = 8;
const uint32_t MAP_LENGTH_SIZE = 4;
const uint32_t MAP_MAX_SIZE = 0x00FFFFFF;
const unsigned char FORM_TRUE = 0x80;

inline bool isMapSize(uint32_t size)
{
    return size >= MAP_HEADER_SIZE && size <= MAP_MAX_SIZE;
}

inline bool isShortKey(int key)
{
    return (static_cast<uint32_t>(key) & 0xFF000000u) == 0;
}

} // namespace Inspect
