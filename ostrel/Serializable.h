#pragma once

#include "ostrel/Export.h"
#include "ostrel/WeakPtr.h"

namespace Ostrel {

class StructBuilder;

/// Something that can describe itself to a `StructBuilder`, and so be written as JSON or XML or copied into a tree.
///
///     struct Point : Serializable
///     {
///         int x = 0;
///         int y = 0;
///
///         const char* getTypeName() const override { return "Point"; }
///         void serialize(WeakPtr<StructBuilder> builder) const override
///         {
///             if (StructBuilder* target = builder.require())
///                 target->map().add("x", x).add("y", y).end();
///         }
///     };
///
/// Ownership: texts handed to the builder stay the caller's and must live until the builder has used them.
/// Errors:    `serialize` returns nothing; ask the builder's `isOk()` afterwards.
class OSTREL_EXPORT Serializable
{
public:
    virtual ~Serializable();

    /// A constant, NUL-terminated name.
    virtual const char* getTypeName() const = 0;

    /// Describes the object by calls on `builder`: one keyless value, as the contract at `StructBuilder` says.
    virtual void serialize(WeakPtr<StructBuilder> builder) const = 0;
};

} // namespace Ostrel
