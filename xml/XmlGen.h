#pragma once

#include "ostrel/Export.h"
#include "ostrel/TextGenerator.h"

namespace xml {

/// Writes the structure that `json::JsonGen` writes, as XML 1.0 text without white space, into one growing buffer.
///
/// For objects that describe themselves use `XmlSerializer`, which drives this class.
///
/// The outermost collection is the document: it writes the XML declaration and, at its end, a NUL byte that counts as
/// text. An object is an element named by its key or, inside an array, by the key of that array; an array itself has
/// no tags. A scalar is the text of an element.
///
///     xml::XmlGen gen;
///     gen.object(nullptr).add("name", "pump").array("log").object(nullptr).add("speed", 12).end().end().end();
///     if (gen.nullTerminate().isOk()) // memory may have run out for the NUL at the end
///         puts(gen.getData()); // <?xml ...?><name>pump</name><log><speed>12</speed></log>
///
/// What it does not do, and its readers know:
/// - The text is escaped by backslashes as JSON is, but for the slash; there are no character references, so `<`, `>`
///   and `&` come out as they are. The closing tag of an object has its key unescaped.
/// - Doubles are left out.
/// - A scalar that is the whole document has no declaration and no NUL byte.
/// - A scalar inside an array takes the key of the collection that was closed last at its place, even of one before
///   `reset()`; where there was none the element has no name. A collection in an outermost array has no element, but
///   its end writes a NUL byte.
///
/// Units:     texts are NUL-terminated bytes, UTF-8 passes unchanged.
/// Ownership: keys of collections are borrowed for the life of the generator, for the names above; other texts for
///            the call. The XML text lives until the generator's next operation.
/// Errors:    as `TextGenerator`: misuse and lack of memory are the status of the current level. At document level a
///            lack of memory ends as `DONE`, and an error inside a collection keeps it from being closed.
/// Threads:   one generator belongs to one thread at a time.
class OSTREL_EXPORT XmlGen : public Ostrel::TextGenerator
{
public:
    XmlGen() = default;

    XmlGen& reset(); ///< Starts a new document; the buffer is kept.
    /// Opens an object or array, as the member `key` unless that is null.
    XmlGen& object(const char* key) { return startCollection(key, STARTING_OBJECT); }
    XmlGen& array(const char* key) { return startCollection(key, STARTING_ARRAY); }
    XmlGen& end();           ///< Closes the innermost object or array.
    XmlGen& nullTerminate(); ///< Puts a NUL behind the text, which is not counted.

    /// `type` is STARTING_OBJECT or STARTING_ARRAY; any other opens a level that is in error.
    XmlGen& startCollection(const char* key, Status type);

    XmlGen& add(NullType value); ///< The text is "Null".
    XmlGen& add(bool value);
    XmlGen& add(const char* value); ///< Null is written as "(null)", as is a null key below.
    XmlGen& add(int value);
    XmlGen& add(double value, unsigned char digits); ///< Does nothing.

    XmlGen& add(const char* key, NullType value);
    XmlGen& add(const char* key, bool value);
    XmlGen& add(const char* key, const char* value);
    XmlGen& add(const char* key, int value);
    XmlGen& add(const char* key, double value, unsigned char digits); ///< Does nothing.

    // The parts of values, without regard to the place.
    XmlGen& appendEscapedStringToBuffer(const char* text);
    XmlGen& appendIntegerToBuffer(int value);

private:
    template <class... Pieces>
    XmlGen& writeValue(const Pieces&... pieces);
    template <class... Pieces>
    XmlGen& writeMember(const char* key, const Pieces&... pieces);
    void openElement(const char* name, Status type);
    void closeElement();

    /// Those of the open collections, and above them what was there before.
    const char* _names[MAXIMUM_DEPTH + 1] = {};
    unsigned int _nameDepth = 0;
};

} // namespace xml
