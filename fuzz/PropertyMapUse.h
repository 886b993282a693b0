#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "fuzz/Judge.h"
#include "ostrel/DynamicPropertyMap.h"
#include "ostrel/PropertyMapView.h"

template <class Value>
std::string describeBits(const Value& value)
{
    return std::string(reinterpret_cast<const char*>(&value), sizeof(value));
}

inline std::string describeEntry(int key, int type, const std::string& value)
{
    return std::to_string(key) + ":" + std::to_string(type) + ":" + std::to_string(value.size()) + ":" + value;
}

inline std::string describeMap(const PropertyMapView& map);

inline std::string describeValue(const PropertyMapView::Iterator& entry)
{
    bool flag = false;
    int number = 0;
    float single = 0;
    double real = 0;
    const char* text = nullptr;
    const unsigned char* bytes = nullptr;
    unsigned int length = 0;
    switch (entry.getType()) {
    case PM_TYPE_BOOL:
        require(entry.get(&flag) == PM_RC_OK);
        return flag ? "true" : "false";
    case PM_TYPE_INT:
        require(entry.get(&number) == PM_RC_OK);
        return describeBits(number);
    case PM_TYPE_FLOAT:
        require(entry.get(&single) == PM_RC_OK);
        return describeBits(single);
    case PM_TYPE_DOUBLE:
        require(entry.get(&real) == PM_RC_OK);
        return describeBits(real);
    case PM_TYPE_STRING:
        require(entry.get(&text) == PM_RC_OK);
        return text;
    default:
        require(entry.get(&bytes, &length) == PM_RC_OK);
        return entry.getType() == PM_TYPE_BINARY ? std::string(bytes, bytes + length)
                                                 : describeMap(PropertyMapView(bytes));
    }
}

/// What the map holds, in the order of its keys.
inline std::string describeMap(const PropertyMapView& map)
{
    std::string text;
    for (auto entry = map.begin(); entry != map.end(); ++entry)
        text += describeEntry(entry.getKey(), entry.getType(), describeValue(entry));
    return text;
}

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
    const std::string held = describeMap(PropertyMapView(buffer));
    require(describeMap(PropertyMapView(target.data())) == held);
    require(PropertyMap::isWellFormed(target.data(), static_cast<unsigned int>(target.size())));

    DynamicPropertyMap changed(map);
    const unsigned char* bytes = nullptr;
    changed.serialize(&bytes);
    require(describeMap(PropertyMapView(bytes)) == held);
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
