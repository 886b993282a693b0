#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "fuzz/Judge.h"
#include "ostrel/DynamicPropertyMap.h"

/// Everything that a receiver does with a map that was found well-formed, except for the dump.
inline void useMap(unsigned char* buffer)
{
    PropertyMap map(buffer);

    std::vector<unsigned char> form(map.externalize(nullptr, 0));
    require(map.externalize(form.data(), static_cast<unsigned int>(form.size())) == form.size());
    unsigned int consumed = 0;
    require(PropertyMap::isWellFormedExternalized(form.data(), static_cast<unsigned int>(form.size()), &consumed));
    require(consumed == form.size());
    std::vector<unsigned char> target(PropertyMap::externalizedSize(form.data()));
    const unsigned char* cursor = form.data();
    PropertyMap copy(target.data(), static_cast<unsigned int>(target.size()));
    require(copy.initialize(&cursor) == PM_RC_OK);
    require(copy.getNumEntries() == map.getNumEntries());
    require(PropertyMap::isWellFormed(target.data(), static_cast<unsigned int>(target.size())));

    DynamicPropertyMap changed(map);
    while (changed.getNumEntries() != 0) {
        const int key = changed.begin().getKey();
        char text[8];
        const unsigned char* data = nullptr;
        unsigned int length = 0;
        changed.get(key, text, sizeof(text));
        if (changed.get(key, &data, &length) == PM_RC_OK && length != 0)
            require(data[length - 1] + 1 != 0);
        changed.set(key, "a longer text than it was");
        changed.set(key, reinterpret_cast<const unsigned char*>("abc"), 3);
        require(changed.removeKey(key) == PM_RC_OK);
    }
    require(changed.getEmptySpace() == changed.getSize() - 8);
}

inline void useAndDumpMap(unsigned char* buffer)
{
    static FILE* const nowhere = stdout = fopen("/dev/null", "w");
    require(nowhere != nullptr);
    PropertyMap(buffer).printContent();
    useMap(buffer);
}
