#pragma once

#include "ostrel/ErrorReporter.h"
#include "ostrel/Export.h"
#include "ostrel/Serializable.h"

namespace Ostrel {

/// Receives a structure as calls: maps, lists and scalars. Serializers turn the calls into text.
///
/// The contract between those who call and those who implement:
/// 1. A document is one value. Its outermost call is keyless: `map()`, `list()` or `add(value)`.
/// 2. Inside a map every member has its key: `map(key)`, `list(key)`, `add(key, value)`.
/// 3. Inside a list every element is keyless.
/// 4. Each `map` and `list` is closed by one `end()`, innermost first.
/// 5. `add(key, serializable)` keeps `key` pending and lets the object describe itself; its first keyless call takes
///    the key. An object that makes no call leaves the key pending.
/// 6. Doubles have 6 digits behind the point unless a count is given.
/// 7. Afterwards `isOk()` tells whether all was accepted, and `getErrorString()` why not.
///
/// The calls return the builder itself, so they chain. A concrete builder that overrides some overloads of `add`
/// brings the others back with `using StructBuilder::add;`. `int64_t` is another type than `long long` on 64-bit
/// hosts: cast wider integers to `long long` before `add`.
///
/// Ownership: texts are borrowed for the call; a pending key is kept by its pointer until it is taken.
/// Errors:    misuse never stops a builder; see 7.
class OSTREL_EXPORT StructBuilder : public ErrorReporter
{
public:
    /// Selects the overloads that add a null.
    struct NullType
    {};

    ~StructBuilder() override;

    virtual void reset() = 0;      ///< Forgets what was built and starts again.
    virtual bool isOk() const = 0; ///< Whether all was accepted.

    /// All open or close a collection.
    virtual StructBuilder& map(const char* key) = 0;
    virtual StructBuilder& map() = 0;
    virtual StructBuilder& list(const char* key) = 0;
    virtual StructBuilder& list() = 0;
    virtual StructBuilder& end() = 0;

    /// All add one value.
    virtual StructBuilder& add(const char* key, const Serializable& value) = 0;
    virtual StructBuilder& add(const Serializable& value) = 0;
    virtual StructBuilder& add(const char* key, int value) = 0;
    virtual StructBuilder& add(const char* key, long long value); ///< By default the low 32 bits, as an int.
    virtual StructBuilder& add(int value) = 0;
    virtual StructBuilder& add(long long value); ///< By default the low 32 bits, as an int.
    virtual StructBuilder& add(const char* key, double value) = 0;
    virtual StructBuilder& add(const char* key, double value, unsigned char digits) = 0;
    virtual StructBuilder& add(double value) = 0;
    virtual StructBuilder& add(double value, unsigned char digits) = 0;
    virtual StructBuilder& add(const char* key, const char* value) = 0;
    virtual StructBuilder& add(const char* value) = 0;
    virtual StructBuilder& add(const char* key, bool value) = 0;
    virtual StructBuilder& add(bool value) = 0;
    virtual StructBuilder& add(const char* key, NullType value) = 0;
    virtual StructBuilder& add(NullType value) = 0;
};

} // namespace Ostrel
