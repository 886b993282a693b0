#pragma once

#include <cstddef>

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
///     gen.object(nullptr).object("pump").add("name", "inlet").array("log").object(nullptr).add("speed", 12);
///     gen.end().end().end().end();
///     if (gen.nullTerminate().isOk()) // memory may have run out for the NUL at the end
///         puts(gen.getData()); // <?xml ...?><pump><name>inlet</name><log><speed>12</speed></log></pump>
///
/// What it does not do, and its readers know:
/// - An XML document has one element at the top. What is to be read back has one member in the outermost object, and
///   goes to the parser without the NUL byte. More members are written, too, and no XML parser takes them.
/// - Backslashes escape the double quote, the backslash, backspace, tab, line feed, form feed and carriage return, as
///   in JSON; XML parsers do not take them back. All else comes out as it is: there are no character references. For
///   the output to be XML, keys must be XML names, and texts free of `<`, `&`, `]]>` and other control characters.
/// - The closing tag of an object has its key unescaped.
/// - Doubles are left out.
/// - A scalar that is the whole document has no declaration and no NUL byte.
/// - A scalar inside an array takes the key of the collection that was closed last at its place, even of one before
///   `reset()`; where there was none the element has no name. A collection in an outermost array has no element, but
///   its end writes a NUL byte.
///
/// Collections nest 15 deep. A deeper one is an error, which keeps those around it from being closed.
///
/// Units:     texts are NUL-terminated bytes, UTF-8 passes unchanged.
/// Ownership: texts are borrowed for the call; names are copied. The XML text lives until the generator's next
///            operation.
/// Errors:    as `TextGenerator`: misuse and lack of memory are the status of the current level. At document level a
///            lack of memory ends as `DONE`, and an error inside a collection keeps it from being closed. Where there
///            is no memory for the name of a collection, the level around it is in error.
class OSTREL_EXPORT XmlGen : public Ostrel::TextGenerator
{
public:
    XmlGen();
    ~XmlGen();

    XmlGen& reset(); ///< Starts a new document; the buffer is kept.
    /// Opens an object, as the member `key` unless that is null.
    XmlGen& object(const char* key) { return startCollection(key, STARTING_OBJECT); }
    /// The same for an array.
    XmlGen& array(const char* key) { return startCollection(key, STARTING_ARRAY); }
    XmlGen& end();           ///< Closes the innermost object or array.
    XmlGen& nullTerminate(); ///< Puts a NUL behind the text, which is not counted.

    /// `type` is STARTING_OBJECT or STARTING_ARRAY; any other opens a level that is in error.
    XmlGen& startCollection(const char* key, Status type);

    /// Adds an element of the innermost array, or the whole document.
    XmlGen& add(NullType value); ///< The text is "Null".
    XmlGen& add(bool value);
    XmlGen& add(const char* value); ///< Null is written as "(null)", as is a null key below.
    XmlGen& add(int value);
    XmlGen& add(double value, unsigned char digits); ///< Does nothing.

    /// Adds a member of the innermost object.
    XmlGen& add(const char* key, NullType value);
    XmlGen& add(const char* key, bool value);
    XmlGen& add(const char* key, const char* value);
    XmlGen& add(const char* key, int value);
    XmlGen& add(const char* key, double value, unsigned char digits); ///< Does nothing.

    /// All write a part of a value, without regard to the place.
    XmlGen& appendEscapedStringToBuffer(const char* text);
    XmlGen& appendIntegerToBuffer(int value);

private:
    template <class... Pieces>
    OSTREL_LOCAL XmlGen& writeValue(const Pieces&... pieces);
    template <class... Pieces>
    OSTREL_LOCAL XmlGen& writeMember(const char* key, const Pieces&... pieces);
    OSTREL_LOCAL void openElement(const char* name, size_t length, Status type);
    OSTREL_LOCAL void closeElement();

    /// A copy of the name of a collection, in a block that later names of the level use again. Empty at first.
    class OSTREL_LOCAL Name
    {
    public:
        Name() = default;
        ~Name();
        Name(const Name&) = delete;
        Name& operator=(const Name&) = delete;

        bool assign(const char* text, size_t length); ///< False, and empty, when memory is exhausted.

        const char* getText() const { return _length == 0 ? "" : _text; }
        size_t getLength() const { return _length; }

    private:
        bool grow(size_t size);

        char* _text = nullptr;
        size_t _size = 0; ///< Of the block.
        size_t _length = 0;
    };

    /// Those of the open collections, and above them what was there before.
    Name _names[MAXIMUM_DEPTH + 1];
    unsigned int _nameDepth = 0;
};

} // namespace xml
