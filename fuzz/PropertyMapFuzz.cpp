// A sequence of operations decoded from the input, the whole buffer checked after each.
#include <cstdint>

#include "fuzz/PropertyMapUse.h"
#include "tests/support/PropertyMapModel.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const uint8_t* const end = data + size;
    const auto pick = [&](unsigned int bound) { return data == end ? 0 : *data++ % bound; };
    PropertyMapModel model(8 + 12 * pick(256), pick);
    while (data != end) {
        if (const char* fault = model.step()) {
            fprintf(stderr, "%s\n", fault);
            abort();
        }
    }
    useAndDumpMap(model.getBuffer());
    return 0;
}
