#pragma once

#include "ostrel/ErrorReporter.h"
#include "ostrel/Export.h"

namespace Ostrel {

/// A source of bytes, read in order. Derive from it to feed a parser from anywhere.
///
/// Units:     bytes; `size` is at most INT_MAX, since the count returned is signed.
/// Errors:    see `read`; `getErrorString()` says why after a failure.
class OSTREL_EXPORT InputStream : public ErrorReporter
{
public:
    ~InputStream() override;

    /// Reads up to `size` bytes. The count delivered; 0 at the end of the data, or when nothing could be read in time;
    /// -1 when there is nothing to read from, or the source behind this stream failed. Streams that have a time-out
    /// tell it from the end by `hasTimedOut()`.
    virtual int read(unsigned char* buffer, unsigned int size) = 0;
};

} // namespace Ostrel
