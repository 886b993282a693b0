#pragma once

#include "ostrel/Export.h"
#include "ostrel/InputStream.h"
#include "ostrel/WeakPtr.h"
#include "ostrel/XMLParser.h"

namespace Ostrel {

/// Pushes the bytes of an `InputStream` through an `XMLParser`, as one document.
///
/// For a file by its name `XMLFileProcessor` is shorter, but does not tell whether reading failed.
///
///     DataObjectSaxHandler handler;
///     SAXParser parser(handler);
///     FdInputStream in(STDIN_FILENO);
///     XmlStreamFilter filter(in, parser);
///     if (filter.start() != 0)
///         puts("the document is not complete");
///
/// Every byte that the stream delivers reaches the parser once and in order, at the latest before `start` ends the
/// document. A read that delivers less than was asked for is not the end; a time-out of the stream, which delivers
/// nothing, cannot be told from it.
///
/// Units:     reads ask for 4096 bytes; what one delivers is one `parse`. A stream that waits until it has them all, as
///            `FdInputStream` does, holds back what a slow source has sent until then, or until its time-out.
/// Errors:    see `start`. A missing stream or parser is a fatal report "m_ptr".
/// Threads:   one filter belongs to one thread at a time, as do its stream and its parser.
class OSTREL_EXPORT XmlStreamFilter
{
public:
    XmlStreamFilter(WeakPtr<InputStream> stream, WeakPtr<XMLParser> parser);

    /// 0 when the stream came to its end; whether the document was well-formed is told by the parser.
    ///
    /// -1 when the stream failed: its read gave -1, or had an error text after it delivered nothing or less than it was
    /// asked for; what it delivered is parsed. The document is ended then too, incomplete as it is, so that the parser
    /// can take the next one. An interrupted wait counts, and so does a moment without data of a descriptor that does
    /// not block.
    ///
    /// -1 also without a stream or a parser; then the other one is not touched.
    ///
    /// What the parser throws passes through. The document is not ended then; `endDocument` of the parser does it, and
    /// the stream stands behind the bytes of the call that threw.
    int start();

private:
    WeakPtr<InputStream> _stream;
    WeakPtr<XMLParser> _parser;
};

} // namespace Ostrel
