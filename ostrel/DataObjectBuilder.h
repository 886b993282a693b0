#pragma once

#include "ostrel/DataObject.h"
#include "ostrel/DataObjectHandler.h"
#include "ostrel/Export.h"
#include "ostrel/SharedPtr.h"
#include "ostrel/StructBuilder.h"

namespace Ostrel {

/// Turns the calls of a `StructBuilder` into a `DataObject` tree, so that anything serializable becomes one. To copy a
/// tree use `DataObject::clone`.
///
///     SharedPtr<DataObject> buildTree(const Serializable& point)
///     {
///         DataObjectBuilder builder;
///         point.serialize(builder);
///         return builder.getRoot();
///     }
///
/// Not everything that a serializer accepts is kept: doubles are refused, and so is a serializable that is added to a
/// list, whatever it is. Lists of scalars are made with `list()` and `add(value)`. A root collection stays open after
/// its `end()`, as told at `DataObjectHandler`; booleans become the integers 1 and 0.
///
/// Ownership: the builder shares the tree with those who took `getRoot()`. A pending key is borrowed until a keyless
///            call takes it.
/// Errors:    `getErrorString` has the text of the last misuse since `reset`, and later calls are accepted. A double is
///            reported (fatal), and so are a collection too deep and an `end` or a serializable without a collection. A
///            collection that is not in the tree (no key, no memory) is open up to its end, and what is in it is
///            dropped. Values inside values nest 1,000 deep; a deeper one is reported (recoverable) and dropped.
class OSTREL_EXPORT DataObjectBuilder : public StructBuilder
{
public:
    DataObjectBuilder();
    ~DataObjectBuilder() override;
    DataObjectBuilder(const DataObjectBuilder&) = delete;
    DataObjectBuilder& operator=(const DataObjectBuilder&) = delete;

    /// "Unable to add serializable without nesting", "Invalid add with key on non-object", "Add with no key requires
    /// top of stack to be a list." or "Invalid end call"; null without a misuse.
    const char* getErrorString() const override;
    void reset() override;      ///< Lets the tree and the error go; a pending key stays.
    bool isOk() const override; ///< True when there is an error text. Not what the name says: ask `getErrorString`.

    StructBuilder& map(const char* key) override;
    StructBuilder& map() override;
    StructBuilder& list(const char* key) override;
    StructBuilder& list() override;
    StructBuilder& end() override;

    // In a list, scalars ignore their key.
    StructBuilder& add(const char* key, const Serializable& value) override; ///< Into a map only.
    StructBuilder& add(const Serializable& value) override;                  ///< Dropped; a misuse outside a list.
    StructBuilder& add(const char* key, int value) override;
    StructBuilder& add(const char* key, long long value) override;
    StructBuilder& add(int value) override;
    StructBuilder& add(long long value) override;
    StructBuilder& add(const char* key, double value) override; ///< This one and the next three: reported and dropped.
    StructBuilder& add(const char* key, double value, unsigned char digits) override;
    StructBuilder& add(double value) override;
    StructBuilder& add(double value, unsigned char digits) override;
    StructBuilder& add(const char* key, const char* value) override;
    StructBuilder& add(const char* value) override;
    StructBuilder& add(const char* key, bool value) override;
    StructBuilder& add(bool value) override;
    StructBuilder& add(const char* key, NullType value) override;
    StructBuilder& add(NullType value) override;

    /// The tree; empty before the first call. It may be taken before it is complete.
    SharedPtr<DataObject> getRoot() const { return _handler.getRoot(); }

private:
    template <class... Value>
    OSTREL_LOCAL StructBuilder& addKeyless(Value... value);
    OSTREL_LOCAL StructBuilder& refuseDouble();
    OSTREL_LOCAL static void serialize(const Serializable& value, DataObjectBuilder& target);

    const char* _errorText;
    const char* _pendingKey;
    unsigned int _level; ///< How many values describe themselves right now, one inside the other.
    DataObjectHandler _handler;
};

} // namespace Ostrel
