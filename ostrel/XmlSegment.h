#pragma once

#include <cstdint>

#include "ostrel/Export.h"

namespace Ostrel {

/// The `<` of the first start, end or empty-element tag of that name that is complete in the text; null without one.
///
/// Null for `name` means any tag. Names are compared whole, byte by byte, with their prefix. What looks like a tag
/// inside a comment, a CDATA section, a processing instruction, a DOCTYPE or a quoted attribute value is none. The text
/// begins outside of all markup; it is not checked, and a `<` that begins no markup is passed over.
///
///     const char text[] = "<!-- <port> --><server><port>8080</port>";
///     const char* port = findTagMarker(text, sizeof(text) - 1, "port");
///     printf("at %td\n", port - text); // 23
OSTREL_EXPORT const char* findTagMarker(const char* text, unsigned int length, const char* name);

/// Cuts one stream of XML into its elements, inside a buffer of the caller's: for protocols that send one document or
/// record after the other on one connection, where a parser refuses what follows the first.
///
/// Bytes come in pieces of any size, cut anywhere. Each complete element of the wanted name that lies in no other of
/// that name is given, where it lies in the buffer; with a null name each that lies in no other element. So records are
/// found inside a wrapper that is never closed, and `<item>` inside `<item>` stays a part of it.
///
///     char buffer[4096];
///     XmlSegment segment(buffer, sizeof(buffer), "record");
///     for (unsigned int room; char* space = segment.getFreeSpace(room);) {
///         const ssize_t count = read(STDIN_FILENO, space, room);
///         if (count <= 0)
///             break;
///         segment.commit(static_cast<unsigned int>(count));
///         const char* element;
///         unsigned int length;
///         int code;
///         while ((code = segment.next(element, length)) != XmlSegment::RC_NEED_MORE) {
///             if (code != XmlSegment::RC_OK)
///                 return; // or go on behind it
///             fwrite(element, 1, length, stdout);
///         }
///     }
///     if (!segment.isBetweenElements())
///         puts("the stream ended too early");
///
/// Tags are told from other markup as `findTagMarker` does, and counted; whether an element is well-formed is left to
/// the parser that gets it. Malformed input may hide elements behind it, as an attribute value that is never closed
/// does, but harms nothing else. A `<` in a tag outside of quotes ends that tag as if it were text.
///
/// The encoding is one that has ASCII as its lower half: UTF-8, ISO-8859-x, US-ASCII. A stream that begins with the
/// bytes of another (UTF-16 and UTF-32 with or without byte order mark, EBCDIC with an XML declaration) is refused. The
/// byte order mark of UTF-8 is dropped at the beginning of the stream, and text like any other behind it.
///
/// Units:     bytes. Each byte is looked at once, and moved inside the buffer once at most, however it is cut.
/// Ownership: buffer and name stay the caller's and outlive this; the heap is never touched. An element is lent until
///            the next call that is not const, and may be changed in place.
/// Errors:    a `ReturnCode`; nothing is reported. After all but `RC_ENCODING` the next element is found.
class OSTREL_EXPORT XmlSegment
{
public:
    /// What a call for the next element answers.
    enum ReturnCode {
        RC_OK = 0,
        RC_NEED_MORE = 1, ///< All bytes are looked at, and there is room for at least one more.
        RC_TOO_LARGE = 2, ///< The element is larger than the buffer. What remains of it will be passed over.
        RC_BETWEEN = 3,   ///< What `Between` refuses. Told once between two elements; the rest will be passed over.
        RC_ENCODING = 4   ///< Not ASCII-compatible. Told again of whatever else comes; all of it is dropped.
    };

    /// What happens to the bytes between elements.
    enum Between {
        SKIP = 0,   ///< They are passed over, and need no room however many they are.
        REFUSE = 1, ///< Refused, but for white space, comments, processing instructions and DOCTYPEs.
        /// They come with the element that they precede, so that it is a document with its encoding and entities. White
        /// space in front is dropped, and so is what precedes an XML declaration. What follows the last element is
        /// never given. Both together must fit the buffer; when they do not, both are too large.
        KEEP = 2
    };

    /// The buffer needs as many bytes as the largest element. One that could hold no element of that name may call
    /// others too large; one of fewer than 4 bytes, or null, takes nothing.
    XmlSegment(char* buffer, unsigned int size, const char* name = nullptr, Between between = SKIP);
    XmlSegment(const XmlSegment&) = delete;
    XmlSegment& operator=(const XmlSegment&) = delete;

    /// Where the next bytes of the stream can be read to, so that they are not copied; `commit` tells how many came.
    /// Null with a `size` of 0 when there is no room, which is never so after `RC_NEED_MORE`.
    char* getFreeSpace(unsigned int& size);
    void commit(unsigned int length); ///< More than there was room for counts as all of it.

    /// Copies the next bytes of the stream in, and gives how many there was room for.
    unsigned int feed(const char* data, unsigned int length);

    /// The next element among the bytes that came; without `RC_OK` null. Call it until `RC_NEED_MORE`, then bring more.
    ReturnCode next(const char*& element, unsigned int& length);

    /// Where in the stream that begins of which `next` told last: the element with what is kept before it, the one that
    /// is too large, what is refused.
    uint64_t getPosition() const { return _position; }

    /// After `RC_NEED_MORE`: whether the stream may end here, outside of elements and of all other markup.
    bool isBetweenElements() const;

private:
    friend const char* findTagMarker(const char* text, unsigned int length, const char* name);
    friend class XmlStreamFilter; // which looks for the end of the root

    /// Finds the tags in text that comes in pieces.
    class OSTREL_LOCAL Scanner
    {
    public:
        enum Event {
            NOTHING,
            MARKUP,      ///< The `<` was read.
            DECLARATION, ///< That markup is an XML declaration.
            FOREIGN,     ///< That markup cannot be a wanted tag, nor a part of a prolog.
            PASSED,      ///< Markup without a wanted tag is complete.
            START_TAG,   ///< Complete and of the wanted name, as the next two.
            EMPTY_TAG,
            END_TAG
        };

        explicit Scanner(const char* name) : _name(name) {}

        static bool isBlank(char byte) { return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n'; }

        Event scan(const char*& position, const char* end); ///< Reads up to an event or the end.
        bool isInText() const { return _state == TEXT; }
        bool mayOpen() const { return _mayOpen; } ///< Inside what may turn out to be a wanted start or empty tag.

    private:
        enum State : unsigned char {
            TEXT,
            OPEN, ///< Behind `<`, and behind `</` when that is an end tag.
            NAME,
            TAG,         ///< Behind the name.
            QUOTED,      ///< Of a tag or a declaration.
            TARGET,      ///< Behind `<?`.
            EXCLAMATION, ///< Behind `<!`.
            DASH,        ///< Behind `<!-`.
            CDATA,       ///< Behind `<![`.
            SECTION,     ///< In a comment, a CDATA section or a processing instruction.
            DECLARING,   ///< In a DOCTYPE, or in a declaration of its subset.
            SUBSET,      ///< Between the declarations of the internal subset.
            SUBSET_OPEN  ///< Behind `<` in it.
        };

        Event step(const char*& position, const char* end);
        Event readText(const char*& position, const char* end);
        Event readOpen(const char*& position);
        Event readName(const char*& position, const char* end);
        Event readTag(const char*& position, const char* end);
        Event readQuoted(const char*& position, const char* end);
        Event readTarget(const char*& position);
        Event readExclamation(const char*& position);
        Event readDash(const char*& position);
        Event readCdata(const char*& position);
        Event readSection(const char*& position, const char* end);
        Event readDeclaring(const char*& position, const char* end);
        Event readSubset(const char*& position, const char* end);
        Event readSubsetOpen(const char*& position);

        Event openMarkup();
        Event leaveMarkup();
        Event finishName(bool matches);
        Event finishTag();
        void enterQuotes(char quote);
        void enterSection(char closer, unsigned char needed);

        const char* const _name;         ///< Null: any.
        const char* _expected = nullptr; ///< What must follow of a name or a keyword.
        State _state = TEXT;
        State _stateBehindQuotes = TEXT;
        char _quote = 0;
        char _closer = 0; ///< A section ends with `_closersNeeded` of these and a `>`.
        unsigned char _closersNeeded = 0;
        unsigned char _closersSeen = 0;
        bool _isInSubset = false;
        bool _isEndTag = false;
        bool _isEmptyTag = false; ///< So far: the last byte is a slash.
        bool _isWanted = false;   ///< The name matches.
        bool _mayOpen = false;
    };

    OSTREL_LOCAL ReturnCode checkEncoding();
    OSTREL_LOCAL ReturnCode readOn();
    OSTREL_LOCAL Scanner::Event scan();
    OSTREL_LOCAL bool passBlanks();
    OSTREL_LOCAL void beginMarkup();
    OSTREL_LOCAL void beginDocument();
    OSTREL_LOCAL ReturnCode endElement();
    OSTREL_LOCAL ReturnCode complete();
    OSTREL_LOCAL ReturnCode refuse(uint64_t position);
    OSTREL_LOCAL ReturnCode makeRoom();

    char* const _buffer;
    const unsigned int _size;
    const Between _between;
    Scanner _scanner;
    unsigned int _start = 0;   ///< The first byte that is still needed.
    unsigned int _scanned = 0; ///< The first byte that was not looked at.
    unsigned int _end = 0;
    uint64_t _offset = 0;   ///< Of the buffer in the stream.
    uint64_t _markup = 0;   ///< The last `<`, in the stream.
    uint64_t _position = 0; ///< In the stream.
    uint64_t _depth = 0;    ///< Open elements of the wanted name.
    bool _isEncodingKnown = false;
    bool _isEncodingRefused = false;
    bool _isSkipping = false; ///< Inside what is too large.
    bool _isRefused = false;  ///< Was told since the last element.
    bool _hasKept = false;    ///< What is kept before the next element has begun.
};

} // namespace Ostrel
