// Any bytes as a buffer: what the check accepts, every operation must handle.
#include <cstdint>
#include <cstring>

#include "fuzz/PropertyMapUse.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 100000)
        return 0;
    std::vector<unsigned char> bytes(data, data + size);
    if (size >= 8) {
        // The header is set right most of the time; else hardly an input gets past it.
        const uint32_t mapSize = static_cast<uint32_t>(size);
        const uint32_t tableOffset = mapSize - 8 * (bytes[4] % (mapSize / 8));
        if (bytes[0] < 240)
            memcpy(bytes.data(), &mapSize, 4);
        if (bytes[1] < 240)
            memcpy(bytes.data() + 4, &tableOffset, 4);
    }
    if (PropertyMap::isWellFormed(bytes.data(), static_cast<unsigned int>(size)))
        useAndDumpMap(bytes.data());
    return 0;
}
