#include "ostrel/DynamicPropertyMap.h"

#include <cstring>

// The int itself is allocated, so that a negative one is refused by the allocation on every host, before the size
// check.
DynamicPropertyMap::DynamicPropertyMap(const unsigned char* buffer, int size)
    : PropertyMap(new unsigned char[size], static_cast<unsigned int>(size))
{
    // The image's own header wins over the fresh one.
    memcpy(_buffer, buffer, static_cast<size_t>(size));
}

DynamicPropertyMap::DynamicPropertyMap(const PropertyMap& other) : PropertyMap(new unsigned char[other.getSize()])
{
    other.serialize(_buffer);
}

DynamicPropertyMap::DynamicPropertyMap(const DynamicPropertyMap& other)
    : DynamicPropertyMap(static_cast<const PropertyMap&>(other))
{}

DynamicPropertyMap::~DynamicPropertyMap()
{
    delete[] _buffer;
}
