#include "tools/ostrel-inspect/MapTree.h"

#include <cstring>

#include "ostrel/PropertyMap.h"
#include "ostrel/Unaligned.h"
#include "tools/ostrel-inspect/MapLayout.h"
#include "tools/ostrel-inspect/Output.h"

namespace Inspect {

void Faults::complain(const std::string& file) const
{
    for (const Fault& fault : _list)
        complainAtByte(file, fault.offset, fault.why);
}

float MapEntry::getFloat() const
{
    const uint32_t word = static_cast<uint32_t>(bits);
    return Ostrel::loadWord<float>(&word);
}

double MapEntry::getDouble() const
{
    return Ostrel::loadWord<double>(&bits);
}

std::string_view MapEntry::getText() const
{
    return {reinterpret_cast<const char*>(data), size - 1};
}

const char* getTypeName(unsigned int type)
{
    static const char* const NAMES[] = {"bool", "int", "float", "double", "text", "binary", "map"};
    return NAMES[type];
}

MapTree readMap(const Bytes& bytes, MapFormat format, Faults* faults)
{
    const unsigned int size = static_cast<unsigned int>(bytes.size);
    if (format == MapFormat::DETECTED && PropertyMap::isWellFormed(bytes.data, size))
        format = MapFormat::IMAGE;
    if (format == MapFormat::DETECTED && PropertyMap::isWellFormedExternalized(bytes.data, size, nullptr))
        format = MapFormat::FORM;
    // Forms begin with their highest byte, which is 0; an image's size that ends with a 0 is that of a large one.
    if (format == MapFormat::DETECTED)
        format =
            size >= MAP_HEADER_SIZE && isMapSize(Ostrel::loadU32(bytes.data)) && Ostrel::loadU32(bytes.data) <= size
                ? MapFormat::IMAGE
                : MapFormat::FORM;
    return format == MapFormat::IMAGE ? readImage(bytes, faults) : readForm(bytes, faults);
}

} // namespace Inspect
