#pragma once

#include "ostrel/PropertyMap.h"

/// Reads a map in bytes that cannot or must not be written: a file that is mapped read-only, a constant of the program.
///
/// Has what a `const PropertyMap` has, under the same names, and nothing that changes a map. Neither attaching nor any
/// call writes to the bytes.
///
///     void showVolume(const unsigned char* bytes, unsigned int size)
///     {
///         enum { VOLUME = 1 };
///         if (!PropertyMapView::isWellFormed(bytes, size))
///             return;
///         const PropertyMapView map(bytes);
///         int volume = 0;
///         if (map.get(VOLUME, &volume) == PM_RC_OK)
///             printf("%d\n", volume);
///     }
///
/// It is a class of its own, and no constructor of `PropertyMap`, since `PropertyMap map(constantBytes)` would have all
/// the changing operations, and so would a copy of a `const PropertyMap`. For the same reason it does not become a
/// `const PropertyMap&`. Where a map is asked for, its bytes do: `insert(key, data, size, PM_TYPE_PROPERTY_MAP)`,
/// `DynamicPropertyMap(data, size)`. A nested map is a view over the bytes that `get` refers to.
///
/// Units:     bytes, at any address, aligned or not.
/// Ownership: the bytes stay the caller's and outlive the view, its iterators and the references it gives.
/// Errors:    as `PropertyMap`: bytes from outside go through `isWellFormed` once.
/// Threads:   any number may read at once, each through the same view or its own, while nobody changes the bytes.
class PropertyMapView final : private PropertyMap
{
public:
    /// Nothing is read.
    explicit PropertyMapView(const unsigned char* buffer) : PropertyMap(const_cast<unsigned char*>(buffer)) {}

    using PropertyMap::Iterator;
    using PropertyMap::KeyValuePair;

    using PropertyMap::isWellFormed;
    using PropertyMap::isWellFormedExternalized;
    using PropertyMap::MAX_CHECKED_DEPTH;

    using PropertyMap::get;
    using PropertyMap::getAllKeys;
    using PropertyMap::getBinaryDataBufferSize;
    using PropertyMap::getEmptySpace;
    using PropertyMap::getKeyType;
    using PropertyMap::getNumEntries;
    using PropertyMap::getSize;
    using PropertyMap::getStringBufferSize;
    using PropertyMap::getUnusedSpace;
    using PropertyMap::hasKey;

    using PropertyMap::begin;
    using PropertyMap::end;
    using PropertyMap::getIterator;

    using PropertyMap::externalize;
    using PropertyMap::externalizedSize;
    using PropertyMap::printContent;
    using PropertyMap::serialize;

    using PropertyMap::findKey;
    using PropertyMap::getBufferEnd;
    using PropertyMap::getKey;
    using PropertyMap::getKeyTableEntry;
    using PropertyMap::getKeyTableOffset;
    using PropertyMap::getValueOffset;
    using PropertyMap::getValueSize;
    using PropertyMap::getValueType;
    using PropertyMap::isOffsetStored;
};
