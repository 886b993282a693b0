#pragma once

#include <cstdarg>

#include "ostrel/Export.h"
#include "ostrel/TextGenerator.h"

namespace json {

/// Writes compact JSON (RFC 8259, without any white space) into one growing buffer.
///
/// For objects that describe themselves use `JsonSerializer`, which drives this class.
///
/// Slashes are escaped. Control characters that have no letter of their own are left out of strings, each for a blank
/// at the end of its string. Integers right below 10^15 and the higher powers of ten begin with a 0: the digits are
/// counted by a logarithm, and readers of these texts know no other. Doubles are written with the decimal point of the
/// locale (`LC_NUMERIC`): where that is a comma, the text is no JSON.
///
/// Collections nest 15 deep. A deeper one is an error, which keeps those around it from being closed.
///
///     json::JsonGen gen;
///     gen.object(nullptr).add("name", "pump").add("speed", 12).array("log").add(true).end().end().nullTerminate();
///     if (gen.isOk())
///         puts(gen.getData());
///
/// Units:     texts are NUL-terminated bytes, UTF-8 passes unchanged; digits are those behind the point, at most 16.
/// Errors:    as `TextGenerator`: misuse and lack of memory are the status of the current level. At document level a
///            lack of memory ends as `DONE`, and an error inside a collection keeps it from being closed.
class OSTREL_EXPORT JsonGen : public Ostrel::TextGenerator
{
public:
    JsonGen() = default;

    JsonGen& reset(); ///< Starts a new document; the buffer is kept.
    /// Opens an object, as the member `key` unless that is null.
    JsonGen& object(const char* key) { return startCollection(key, STARTING_OBJECT); }
    /// The same for an array.
    JsonGen& array(const char* key) { return startCollection(key, STARTING_ARRAY); }
    JsonGen& end();           ///< Closes the innermost object or array.
    JsonGen& nullTerminate(); ///< Puts a NUL behind the text, which is not counted.

    /// `type` is STARTING_OBJECT or STARTING_ARRAY; any other opens a level that is in error. A collection without a
    /// key is accepted inside an object too: whoever drives the generator sees to the keys of collections.
    JsonGen& startCollection(const char* key, Status type);

    /// Adds an element of the innermost array, or the whole document.
    JsonGen& add(NullType value);
    JsonGen& add(bool value);
    JsonGen& add(const char* value); ///< Null is written as "(null)", as is a null key below.
    JsonGen& add(long long value);
    JsonGen& add(int value);
    JsonGen& add(double value, unsigned char digits);

    /// Adds a member of the innermost object.
    JsonGen& add(const char* key, NullType value);
    JsonGen& add(const char* key, bool value);
    JsonGen& add(const char* key, const char* value);
    JsonGen& add(const char* key, long long value);
    JsonGen& add(const char* key, int value);
    JsonGen& add(const char* key, double value, unsigned char digits); ///< The key is not escaped.

    /// Adds what `printf` makes of the arguments, as it is; inside an object it has to bring its own key. The
    /// arguments must not point into the generator's text.
    JsonGen& addWithFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// All write a part of a value, without regard to the place.
    JsonGen& appendEscapedStringToBuffer(const char* text);
    JsonGen& appendIntegerToBuffer(long long value);

private:
    OSTREL_LOCAL void addFormatted(const char* format, va_list arguments);
    template <class Piece>
    OSTREL_LOCAL JsonGen& addPiece(const Piece& piece);
    template <class... Pieces>
    OSTREL_LOCAL JsonGen& writeValue(const Pieces&... pieces);
    template <class... Pieces>
    OSTREL_LOCAL JsonGen& writeMember(const char* key, const Pieces&... pieces);
};

} // namespace json
