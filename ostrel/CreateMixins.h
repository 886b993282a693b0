#pragma once

#include <new>

namespace Ostrel {

/// Gives a concrete class T a factory that hands it out as P, the owning pointer of its interface:
///
///     AutoPtr<Serializer> serializer = json::JsonSerializer::create();
///
/// Errors:    empty when memory is exhausted.
/// Threads:   `create` may be called anywhere.
template <class T, class P>
class CreateMixins
{
public:
    static P create() { return P(new (std::nothrow) T); } ///< A new T, made without arguments.
};

} // namespace Ostrel
