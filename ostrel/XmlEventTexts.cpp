#include "ostrel/XmlEventTexts.h"

#include <cstring>
#include <utility>

namespace Ostrel {

namespace {

template <size_t WORD>
inline void copyEnds(char* to, const char* from, size_t length)
{
    char first[WORD];
    char last[WORD];
    memcpy(first, from, WORD);
    memcpy(last, from + length - WORD, WORD);
    memcpy(to, first, WORD);
    memcpy(to + length - WORD, last, WORD);
}

/// Most texts have up to 16 bytes: two words that may overlap then take the place of a call. Together with the strings
/// that keep their length, this halves what the library takes beside expat.
inline void copy(char* to, const char* from, size_t length)
{
    if (length > 16)
        memcpy(to, from, length);
    else if (length >= 8)
        copyEnds<8>(to, from, length);
    else if (length >= 4)
        copyEnds<4>(to, from, length);
    else if (length >= 2)
        copyEnds<2>(to, from, length);
    else if (length == 1)
        *to = *from;
}

inline void assignText(std::string& string, const char* text)
{
    const size_t length = strlen(text);
    if (string.size() == length)
        copy(&string[0], text, length);
    else
        string.assign(text, length);
}

/// Few elements of a document share a value, not even those with a common prefix.
inline size_t hash(const char* name, size_t length)
{
    const size_t first = static_cast<unsigned char>(name[0]);
    const size_t last = length == 0 ? 0 : static_cast<unsigned char>(name[length - 1]);
    return length + first * 3 + last * 5;
}

} // namespace

XmlEventTexts::XmlEventTexts() : _noAttributes()
{
    for (size_t length = 0; length < SHORT_TEXTS; ++length)
        _shortTexts[length].resize(length);
}

const std::string& XmlEventTexts::setText(const char* text, size_t length)
{
    if (length >= SHORT_TEXTS)
        return _longText.assign(text, length);

    std::string& string = _shortTexts[length];
    copy(&string[0], text, length);
    return string;
}

const XmlEventTexts::Attributes& XmlEventTexts::setAttributes(const char* element, size_t length,
                                                              const char* const* attributes)
{
    if (*attributes == nullptr)
        return _noAttributes;

    AttributeSet& set = _sets[hash(element, length) % SETS];
    if (!set.assignInPlace(attributes))
        assign(set, attributes);
    return set.map;
}

/// Whether the names were those that the set had before, in the same order.
bool XmlEventTexts::AttributeSet::assignInPlace(const char* const* attributes)
{
    for (Attributes::value_type* attribute : order) {
        if (attributes[0] == nullptr || strcmp(attributes[0], attribute->first.c_str()) != 0)
            return false;
        assignText(attribute->second, attributes[1]);
        attributes += 2;
    }
    // An assignment that ran out of memory may have left more in the map.
    return *attributes == nullptr && order.size() == map.size();
}

void XmlEventTexts::assign(AttributeSet& set, const char* const* attributes)
{
    set.order.clear();
    while (!set.map.empty())
        _spareAttributes.push_back(set.map.extract(set.map.begin()));
    for (; *attributes != nullptr; attributes += 2) {
        const size_t count = set.map.size();
        const Attributes::iterator place = insert(set.map, attributes[0], attributes[1]);
        if (set.map.size() > count)
            set.order.push_back(&*place);
    }
}

XmlEventTexts::Attributes::iterator XmlEventTexts::insert(Attributes& map, const char* name, const char* value)
{
    if (_spareAttributes.empty())
        return map.emplace_hint(map.end(), name, value);

    Attributes::node_type& spare = _spareAttributes.back();
    spare.key() = name;
    spare.mapped() = value;
    const size_t count = map.size();
    const Attributes::iterator place = map.insert(map.end(), std::move(spare));
    // The node of a repeated name stays spare.
    if (map.size() > count)
        _spareAttributes.pop_back();
    return place;
}

} // namespace Ostrel
