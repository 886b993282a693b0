#pragma once

#include "ostrel/Export.h"
#include "ostrel/InputStream.h"
#include "ostrel/WeakPtr.h"
#include "ostrel/XMLParser.h"

namespace Ostrel {

class SAXParser;

/// Pushes the bytes of an `InputStream` through an `XMLParser`, as one document.
///
/// For a file by its name `XMLFileProcessor` is shorter, but does not tell whether reading failed.
///
///     DataObjectSaxHandler handler;
///     SAXParser parser(handler);
///     FdInputStream in(STDIN_FILENO);
///     XmlStreamFilter filter(in, parser, XmlStreamFilter::REFUSE_MALFORMED);
///     if (filter.start() != 0)
///         puts(parser.isWellFormed() ? "reading failed" : parser.getError().text);
///
/// Every byte that the stream delivers reaches the parser once and in order, at the latest before `start` ends the
/// document. A read that delivers less than was asked for is not the end; a time-out of the stream, which delivers
/// nothing, is taken for it: `hasTimedOut()` of the stream tells.
///
/// Where the other side keeps the connection open, and where several documents follow each other in a stream, each ends
/// with its root:
///
///     DataObjectSaxHandler handler;
///     SAXParser parser(handler);
///     FdInputStream connection(STDIN_FILENO);
///     connection.setTimeOut(30);
///     const unsigned int options = XmlStreamFilter::REFUSE_MALFORMED | XmlStreamFilter::STOP_AT_ROOT_END;
///     XmlStreamFilter filter(connection, parser, options);
///     while (filter.start() == 0)
///         puts("one more document");
///     puts(connection.hasTimedOut() ? "silent for 30 s" : "closed, or a malformed document");
///
/// Units:     reads ask for 4096 bytes; what one delivers is one `parse`. A stream that waits until it has them all, as
///            `FdInputStream` does, holds back what a slow source has sent until then, or until its time-out.
/// Errors:    see `start`. A missing stream or parser is a fatal report "m_ptr".
/// Threads:   one filter belongs to one thread at a time, as do its stream and its parser.
class OSTREL_EXPORT XmlStreamFilter
{
public:
    /// What a filter can be asked for besides.
    enum Option {
        /// `start` gives -1 also when the document was not well-formed, a cut or an empty one included.
        REFUSE_MALFORMED = 1,

        /// The document ends with its root element, or soon after its first mistake. Nothing behind the root is taken
        /// from the stream, which is read byte by byte for it: meant for messages rather than for bulk data. Takes
        /// 16 KiB of stack. The end is noticed late, with the stream's own, in UTF-16, and possibly where it stands
        /// close behind a tag or a comment of more than 16 KiB: expat then waits for more. White space between two
        /// documents counts to the second one, where an XML declaration must not follow it; `XmlSegment` drops it.
        STOP_AT_ROOT_END = 2
    };

    XmlStreamFilter(WeakPtr<InputStream> stream, WeakPtr<XMLParser> parser);

    /// `options` are a sum of `Option`s.
    XmlStreamFilter(WeakPtr<InputStream> stream, WeakPtr<SAXParser> parser, unsigned int options);

    /// 0 when the stream, or as an option the document, came to its end; whether that was well-formed is told by the
    /// parser, or as an option by -1.
    ///
    /// -1 when the stream failed: its read gave -1, or had an error text after it delivered nothing or less than it was
    /// asked for; what it delivered is parsed. The document is ended then too, incomplete as it is, so that the parser
    /// can take the next one. An interrupted wait counts, and so does a moment without data of a descriptor that does
    /// not block.
    ///
    /// -1 also without a stream or a parser; then the other one is not touched.
    ///
    /// What the parser or the stream throws passes through, and the thread may be cancelled in the stream's reads. The
    /// document is not ended then; `endDocument` of the parser does it, and the stream stands behind the bytes of the
    /// call that was left.
    int start();

private:
    class TagReader;

    WeakPtr<InputStream> _stream;
    WeakPtr<XMLParser> _parser;
    WeakPtr<SAXParser> _saxParser; ///< Null without options.
    unsigned int _options;
};

} // namespace Ostrel
