#pragma once

#include "ostrel/Export.h"
#include "ostrel/StructBuilder.h"

namespace Ostrel {

/// A builder that produces text.
class OSTREL_EXPORT Serializer : public StructBuilder
{
public:
    ~Serializer() override;

    /// The text so far, not terminated (the concrete classes have `nullTerminateData()`); null before the first byte.
    virtual const char* getData() const = 0;
    virtual unsigned int getDataLength() const = 0;
};

} // namespace Ostrel
