#pragma once

#include <cstring>

#include "ostrel/Export.h"

namespace json {

/// A view of a piece of JSON text, to read a few values out of a small, trusted document without a tree.
///
///     const json::JsonData document("{\"servers\": [{\"port\": 8080}]}");
///     const int port = document("servers")[0]("port").toInt();
///
/// Finding is shallow: brackets and commas inside strings count as such, escapes are not undone, and a text that is a
/// value may be taken for a key. So keys are found reliably where values are numbers, literals and collections, or
/// where the keys asked for come first. `validate` runs the full parser. To read more than a few values, or texts of
/// others, build a tree with `JsonDeserializer`.
///
/// Ownership: the text stays the caller's and outlives all views of it. A terminator stands behind it: conversions
///            read to where the number or the text ends, also beyond the view.
/// Errors:    what is not there is `INVALID_JSON_DATA`, and every operation on that gives its own invalid value, so
///            lookups chain. Nothing is reported.
class OSTREL_EXPORT JsonData
{
public:
    // Usable in the initialisation of other statics.
    static const JsonData INVALID_JSON_DATA; ///< Null and empty.
    static const JsonData INVALID_STRING;    ///< Null and empty.
    static const float INVALID_FLOAT;        ///< A quiet NaN.

    constexpr JsonData() : _data(nullptr), _length(0) {}
    explicit JsonData(const char* text) : JsonData(text, text == nullptr ? 0 : static_cast<unsigned int>(strlen(text)))
    {}
    constexpr JsonData(const char* data, unsigned int length) : _data(data), _length(data == nullptr ? 0 : length) {}

    const char* getData() const { return _data; }
    unsigned int getLength() const { return _length; }
    bool isValid() const { return _length != 0; } ///< False of an empty view too: `[]` has such an element 0.

    /// The element of an array, with the white space around it.
    JsonData operator[](unsigned int index) const;

    /// The value of a member of an object, with the white space around it. The key is compared byte by byte.
    JsonData operator()(const char* key) const;

    /// In base 8, 10 or 16, as `strtol` tells from the prefix, and clamped to the range of int; 0 when there is no
    /// number. The smallest int for an empty view, and for a 0 while `errno` is ERANGE or EINVAL: clear it first.
    int toInt() const;

    /// As `strtof`, with the decimal point of the locale (`LC_NUMERIC`). `INVALID_FLOAT` for an empty view, and for a 0
    /// while `errno` is ERANGE or EINVAL: clear it first.
    float toFloat() const;

    /// The characters between the first two double quotes from the view's start on, as they stand; `INVALID_STRING`
    /// without two. So a text with a comma in it, whose view ends there, is whole again.
    JsonData toString() const;

    /// Writes the view to standard output, a line for each value, each level indented by two spaces. A prefix, which
    /// may be null, stands before the indentation of opening brackets. White space is dropped, inside strings too.
    void print(const char* prefix) const;

    /// Parses the view: 0 when it is a document, else -1, and the view becomes empty. -1 for an empty view.
    int validate();

    /// Whether a bracket of any kind is what follows at `position`, behind white space and commas. The byte at
    /// `start` + `length` counts as well.
    static bool isNextItemACollectionDelimiter(const char* position, const char* start, int length);

private:
    const char* _data;
    unsigned int _length;
};

} // namespace json
