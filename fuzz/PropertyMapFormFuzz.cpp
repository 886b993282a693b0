// Any bytes as an externalized form: what the check accepts can be read back. Forms that only contradict themselves
// (keys twice or unordered, sizes that do not suffice) are read as well; just their lengths must hold.
#include <cstdint>

#include "fuzz/PropertyMapUse.h"
#include "ostrel/Unaligned.h"

namespace {

bool skip(const uint8_t*& next, const uint8_t* end, size_t length)
{
    if (static_cast<size_t>(end - next) < length)
        return false;
    next += length;
    return true;
}

/// Whether reading stays inside the bytes, whatever else is wrong with them.
bool lengthsHold(const uint8_t*& next, const uint8_t* end, unsigned int depth)
{
    if (depth == 0 || !skip(next, end, 4) || Ostrel::loadBE32(next - 4) < 8)
        return false;
    while (skip(next, end, 1)) {
        const uint8_t type = next[-1];
        if (type == PM_MAX_TYPE)
            return true;
        bool holds = skip(next, end, 4);
        if (type == PM_TYPE_INT || type == PM_TYPE_FLOAT)
            holds = holds && skip(next, end, 4);
        else if (type == PM_TYPE_DOUBLE)
            holds = holds && skip(next, end, 8);
        else if (type == PM_TYPE_STRING)
            while (holds && (holds = skip(next, end, 1)) && next[-1] != 0) {
            }
        else if (type == PM_TYPE_BINARY)
            holds = holds && skip(next, end, 4) && skip(next, end, Ostrel::loadBE32(next - 4));
        else if (type == PM_TYPE_PROPERTY_MAP)
            holds = holds && lengthsHold(next, end, depth - 1);
        if (!holds)
            return false;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    unsigned int consumed = 0;
    const bool accepted = PropertyMap::isWellFormedExternalized(data, static_cast<unsigned int>(size), &consumed);
    const uint8_t* next = data;
    if (!lengthsHold(next, data + size, PropertyMap::MAX_CHECKED_DEPTH + 1)) {
        require(!accepted);
        return 0;
    }
    const unsigned int mapSize = PropertyMap::externalizedSize(data);
    std::vector<unsigned char> buffer(mapSize < 100000 ? mapSize : 100000);
    PropertyMap map(buffer.data(), static_cast<unsigned int>(buffer.size()));
    const unsigned char* cursor = data;
    const PropertyMap_ReturnCode code = map.initialize(&cursor);
    if (accepted && mapSize <= buffer.size())
        require(code == PM_RC_OK && cursor == data + consumed);
    if (code == PM_RC_OK) {
        require(PropertyMap::isWellFormed(buffer.data(), static_cast<unsigned int>(buffer.size())));
        useAndDumpMap(buffer.data());
    }
    return 0;
}
