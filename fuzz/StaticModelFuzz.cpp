// Operations on an observable's registry, decoded from the input, against a model that writes the bytes anew each time.
#include <cstdint>
#include <cstdlib>

#include "tests/support/CheckedRegistry.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const int IDS[] = {0, 1, -1, 32766, 32767, -32767, -32768, INT32_MAX};
    static SilentObserver observers[8];
    if (size < 2)
        return 0;

    CheckedRegistry registry(static_cast<uint16_t>(12 + (data[0] | data[1] << 8) % 2000));
    for (size_t i = 2; i + 1 < size; i += 2) {
        const auto operation = static_cast<CheckedRegistry::Operation>(data[i] % CheckedRegistry::OPERATION_COUNT);
        if (registry.apply(operation, IDS[data[i + 1] & 7], &observers[data[i + 1] >> 3 & 7]) < 0)
            abort();
    }
    return 0;
}
