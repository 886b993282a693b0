#pragma once

#include "ostrel/Export.h"

namespace Ostrel {

/// Base of everything that keeps the text of its last error: streams, builders, deserializers.
///
/// Ownership: the text belongs to the object or is static; it lives until the next operation on the object.
class OSTREL_EXPORT ErrorReporter
{
public:
    virtual ~ErrorReporter();

    /// The last error's text; null when there is none, unless the derived class says otherwise.
    virtual const char* getErrorString() const = 0;
};

} // namespace Ostrel
