#pragma once

#include "ostrel/PropertyMap.h"
#include "ostrel/Unaligned.h"

/// A map with every type, numbers that are none, negative and long keys, and maps in maps; and its externalized form,
/// the same on every host.
class PropertyMapSample
{
public:
    PropertyMapSample() : map(_buffer, sizeof(_buffer))
    {
        unsigned char innerBytes[40];
        unsigned char outerBytes[90];
        PropertyMap inner(innerBytes, sizeof(innerBytes));
        PropertyMap outer(outerBytes, sizeof(outerBytes));
        inner.insert(-1, -2);
        outer.insert(9, inner);
        outer.insert(8, true);
        map.insert(7, outer);
        map.insert(6, reinterpret_cast<const unsigned char*>("\xFF\x01"), 2);
        map.insert(5, "hi");
        map.insert(4, Ostrel::loadWord<double>(&DOUBLE_BITS));
        map.insert(3, Ostrel::loadWord<float>(&FLOAT_BITS));
        map.insert(0x01000000, 0x01020304);
        map.insert(2, false);
        map.insert(-2147483647 - 1, true);
        map.insert(1, 258);
    }

    // clang-format off
    static constexpr unsigned char FORM[] = {
        0, 0, 0, 153,                                               // header 8, entries 72, values 73
        0x80, 0x80, 0, 0, 0,                                        // true
        0x01, 0, 0, 0, 1, 0, 0, 1, 2,                               // 258
        0x00, 0, 0, 0, 2,                                           // false
        0x02, 0, 0, 0, 3, 0xFF, 0xC0, 0, 0x45,                      // no number
        0x03, 0, 0, 0, 4, 0x7F, 0xF8, 0, 0, 0, 0, 1, 0x23,          // no number
        0x04, 0, 0, 0, 5, 'h', 'i', 0,                              // text
        0x05, 0, 0, 0, 6, 0, 0, 0, 2, 0xFF, 0x01,                   // binary data
        0x06, 0, 0, 0, 7, 0, 0, 0, 48,                              // a map
        0x80, 0, 0, 0, 8,                                           // in it true
        0x06, 0, 0, 0, 9, 0, 0, 0, 20,                              // and a map
        0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 8, 8, // with -2; both end
        0x01, 1, 0, 0, 0, 1, 2, 3, 4,                               // a long key
        8};
    // clang-format on

    PropertyMap map;

private:
    // Bits that only a copy keeps.
    static constexpr uint32_t FLOAT_BITS = 0xFFC00045;
    static constexpr uint64_t DOUBLE_BITS = 0x7FF8000000000123;

    unsigned char _buffer[500];
};
