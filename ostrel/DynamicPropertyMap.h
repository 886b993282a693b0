#pragma once

#include "ostrel/PropertyMap.h"

/// `PropertyMap` that owns its buffer, a copy of another map's.
///
///     unsigned char buffer[256];
///     PropertyMap received(buffer, sizeof(buffer));
///     DynamicPropertyMap kept(received);
///
/// Units:     sizes are bytes; the buffer has the size of the original and never grows.
/// Ownership: the buffer is allocated by the constructor and released by the destructor; copies are deep.
/// Errors:    an allocation failure passes as `std::bad_alloc`; for the rest see `PropertyMap`.
class OSTREL_EXPORT DynamicPropertyMap : public PropertyMap
{
public:
    /// Copies `size` bytes, which `serialize` made. Not checked: see `PropertyMap::isWellFormed`.
    DynamicPropertyMap(const unsigned char* buffer, int size);

    explicit DynamicPropertyMap(const PropertyMap& other);
    DynamicPropertyMap(const DynamicPropertyMap& other);
    DynamicPropertyMap& operator=(const DynamicPropertyMap&) = delete;
    ~DynamicPropertyMap() override;
};
