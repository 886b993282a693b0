// Any bytes as an externalized form: what the check accepts can be read back, and what is read is what a slow reader
// finds there. Forms that only contradict themselves (keys twice or unordered, sizes that do not suffice) are read as
// well; just their lengths must hold.
#include <cstring>
#include <map>

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

bool readForm(const uint8_t*& next, const uint8_t* end, unsigned int depth, std::string* description);

/// Whether reading the value stays inside the bytes, whatever else is wrong with them.
bool readValue(uint8_t type, const uint8_t*& next, const uint8_t* end, unsigned int depth, std::string* value)
{
    const uint8_t* const start = next;
    switch (type) {
    case PM_TYPE_BOOL:
    case 0x80:
        *value = type == PM_TYPE_BOOL ? "false" : "true";
        return true;
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        if (!skip(next, end, 4))
            return false;
        *value = describeBits(Ostrel::loadBE32(start));
        return true;
    case PM_TYPE_DOUBLE:
        if (!skip(next, end, 8))
            return false;
        *value = describeBits(Ostrel::loadBE64(start));
        return true;
    case PM_TYPE_STRING:
        value->assign(start, std::find(start, end, 0));
        return skip(next, end, value->size() + 1);
    case PM_TYPE_BINARY:
        if (!skip(next, end, 4) || !skip(next, end, Ostrel::loadBE32(start)))
            return false;
        value->assign(start + 4, next);
        return true;
    case PM_TYPE_PROPERTY_MAP:
        return readForm(next, end, depth - 1, value);
    default:
        return true; // is refused, and without a value
    }
}

bool readForm(const uint8_t*& next, const uint8_t* end, unsigned int depth, std::string* description)
{
    if (depth == 0 || !skip(next, end, 4) || Ostrel::loadBE32(next - 4) < 8)
        return false;
    std::map<int, std::string> entries;
    while (skip(next, end, 1)) {
        const uint8_t type = next[-1];
        std::string value;
        if (type == PM_MAX_TYPE) {
            for (const auto& entry : entries)
                *description += entry.second;
            return true;
        }
        if (!skip(next, end, 4))
            return false;
        const int key = static_cast<int>(Ostrel::loadBE32(next - 4));
        if (!readValue(type, next, end, depth, &value))
            return false;
        entries[key] = describeEntry(key, type & 0x7F, value);
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    unsigned int consumed = 0;
    const bool accepted = PropertyMap::isWellFormedExternalized(data, static_cast<unsigned int>(size), &consumed);
    const uint8_t* next = data;
    std::string description;
    if (!readForm(next, data + size, PropertyMap::MAX_CHECKED_DEPTH + 1, &description)) {
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
        require(describeMap(PropertyMapView(buffer.data())) == description);
        useAndDumpMap(buffer.data());
    }
    return 0;
}
