#pragma once

#include "ostrel/ErrorReporter.h"
#include "ostrel/Export.h"

namespace Ostrel {

/// A sink of bytes, written in order.
///
/// Units:     bytes; `size` is at most INT_MAX, since the count returned is signed.
/// Errors:    see `write` and `flush`; `getErrorString()` says why after a failure.
class OSTREL_EXPORT OutputStream : public ErrorReporter
{
public:
    ~OutputStream() override;

    /// The number of bytes accepted, or -1.
    virtual int write(const unsigned char* data, unsigned int size) = 0;

    /// Hands on what is held back. 0 on success; a stream that holds nothing back does nothing and returns 0.
    virtual int flush();
};

} // namespace Ostrel
