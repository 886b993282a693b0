#include "ostrel/internal/XmlEventTexts.h"

#include <algorithm>
#include <cstring>
#include <exception>

#include "ostrel/internal/CopyBytes.h"

namespace Ostrel {

namespace {

/// Most texts are as long as the one before in their place. Its bytes are then replaced and its length stays.
const std::string& assignText(std::string& string, const char* text, size_t length)
{
    if (string.size() != length)
        return string.assign(text, length);
    copyBytes(&string[0], text, length);
    return string;
}

template <class Assign>
decltype(auto) withinMemory(Assign assign)
{
    try {
        return assign();
    } catch (const std::exception&) { // a text may also be longer than any string
        throw XmlEventTexts::OutOfMemory();
    }
}

/// Few elements of a document share a value, not even those with a common prefix. An empty name has a byte, too.
size_t hash(const char* name, size_t length)
{
    return length * 5 + static_cast<unsigned char>(name[0]) + static_cast<unsigned char>(name[length / 2]);
}

} // namespace

XmlEventTexts::XmlEventTexts() : _noAttributes() {}

const std::string& XmlEventTexts::setText(const char* text, size_t length)
{
    return withinMemory(
        [&]() -> const std::string& { return assignText(_texts[std::min(length, size_t{LONG_TEXT})], text, length); });
}

const XmlEventTexts::Attributes& XmlEventTexts::setAttributes(const char* element, size_t length,
                                                              const char* const* attributes)
{
    if (*attributes == nullptr)
        return _noAttributes;

    return withinMemory([&]() -> const Attributes& {
        AttributeSet& set = _sets[hash(element, length) % SETS];
        if (!set.assignInPlace(attributes))
            set.assign(attributes);
        return set.map;
    });
}

/// Whether the names were those that the set had before, in the same order.
bool XmlEventTexts::AttributeSet::assignInPlace(const char* const* attributes)
{
    for (Attributes::value_type* attribute : order) {
        if (attributes[0] == nullptr || strcmp(attributes[0], attribute->first.c_str()) != 0)
            return false;
        assignText(attribute->second, attributes[1], strlen(attributes[1]));
        attributes += 2;
    }
    // They differ after a repeated name, and where memory ran out between the two.
    return *attributes == nullptr && order.size() == map.size();
}

void XmlEventTexts::AttributeSet::assign(const char* const* attributes)
{
    order.clear();
    map.clear();
    for (; *attributes != nullptr; attributes += 2)
        order.push_back(&*map.emplace(attributes[0], attributes[1]).first);
}

} // namespace Ostrel
