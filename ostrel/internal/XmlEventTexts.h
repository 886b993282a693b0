/// Not installed: internal to the library.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Ostrel {

/// The strings and maps in which handlers receive the events of a document.
///
/// They are used again from event to event: documents repeat their elements, so that most events copy some bytes over
/// those of an earlier one, and nothing else.
///
/// Units:     lengths are bytes.
/// Ownership: a text lives until the next one, attributes until the next ones.
/// Errors:    `OutOfMemory`, which no handler throws, so that the two can be told apart.
/// Threads:   belongs to one parser.
class XmlEventTexts
{
public:
    typedef std::map<std::string, std::string> Attributes;

    struct OutOfMemory
    {};

    XmlEventTexts();
    XmlEventTexts(const XmlEventTexts&) = delete;
    XmlEventTexts& operator=(const XmlEventTexts&) = delete;

    const std::string& setText(const char* text, size_t length);

    /// `attributes` holds names and values in turn and ends with a null. Of a repeated name the first value stays.
    /// The element's name only tells where attributes of the same names are likely to be found.
    const Attributes& setAttributes(const char* element, size_t length, const char* const* attributes);

private:
    enum {
        SETS = 16,
        LONG_TEXT = 16 ///< The index of the string for texts of this length and more.
    };

    struct AttributeSet
    {
        bool assignInPlace(const char* const* attributes);
        void assign(const char* const* attributes);

        Attributes map;
        std::vector<Attributes::value_type*> order; ///< The attributes as they stand in the document.
    };

    const Attributes _noAttributes;
    AttributeSet _sets[SETS];
    std::string _texts[LONG_TEXT + 1]; ///< One for each short length, where no length ever changes.
};

} // namespace Ostrel
