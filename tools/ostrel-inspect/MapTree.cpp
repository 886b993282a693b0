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

namespace {

/// By the header alone, for bytes that are neither.
MapFormat guessFormat(const Bytes& bytes)
{
    const uint32_t noSize = 0;
    const uint32_t imageSize = bytes.size >= MAP_HEADER_SIZE ? Ostrel::loadU32(bytes.data) : noSize;
    const uint32_t formSize = bytes.size >= sizeof(uint32_t) ? Ostrel::loadBE32(bytes.data) : noSize;
    const bool hasTable =
        isMapSize(imageSize) && imageSize <= bytes.size && Ostrel::loadU32(bytes.data + 4) <= imageSize;
    if (hasTable || (isMapSize(imageSize) && !isMapSize(formSize)))
        return MapFormat::IMAGE;
    return isMapSize(formSize) ? MapFormat::FORM : MapFormat::DETECTED;
}

} // namespace

MapTree readMap(const Bytes& bytes, MapFormat format, Faults* faults)
{
    const unsigned int size = static_cast<unsigned int>(bytes.size);
    if (format == MapFormat::DETECTED && PropertyMap::isWellFormed(bytes.data, size))
        format = MapFormat::IMAGE;
    if (format == MapFormat::DETECTED && PropertyMap::isWellFormedExternalized(bytes.data, size, nullptr))
        format = MapFormat::FORM;
    if (format == MapFormat::DETECTED)
        format = guessFormat(bytes);
    if (format != MapFormat::DETECTED)
        return format == MapFormat::IMAGE ? readImage(bytes, faults) : readForm(bytes, faults);
    faults->add(bytes.offset, "neither an image nor an externalized form begins here");
    return {};
}

} // namespace Inspect
