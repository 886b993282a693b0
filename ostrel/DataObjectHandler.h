#pragma once

#include "ostrel/ArrayList.h"
#include "ostrel/AutoPtr.h"
#include "ostrel/DataObject.h"
#include "ostrel/Deserializer.h"
#include "ostrel/Export.h"
#include "ostrel/SharedPtr.h"

namespace Ostrel {

/// Grows a `DataObject` tree from the events of a deserializer.
///
///     ByteArrayInputStream stream("{\"port\": 8080}");
///     DataObjectHandler handler;
///     json::JsonDeserializer deserializer;
///     if (deserializer.parse(stream, handler) == 0 && handler.getRoot())
///         printf("%d\n", handler.getRoot()->get("port").toInt(80));
///
/// Integers become integer nodes, booleans 1 or 0. There is no floating-point node: a double is cut to a 32-bit
/// integer, saturating, with 0 for a NaN. At most 14 collections can be open below the root collection.
///
/// Ownership: the handler shares the tree with those who took `getRoot()`. Nodes handed in are taken over.
/// Errors:    misuse is reported (fatal) and goes on. Dropped without a report: a value below a scalar root, a value
///            without a key in a map, and what is in a collection that is not in the tree. Without memory each node,
///            place or stack entry that is missing is reported (fatal), ends still balance, and after a `reset` the
///            handler is as good as new. A parse that gives 0 does not know: the tree may then have gaps, and the root
///            may be null.
/// Threads:   one handler serves one parse at a time.
class OSTREL_EXPORT DataObjectHandler : public Deserializer::Handler
{
public:
    /// What an entry of the stack of open collections is.
    enum DataObjectHandlerType {
        TYPE_VALUE = 0, ///< A root that is a scalar or missing: what is put into it is dropped.
        TYPE_LIST = 1,
        TYPE_MAP = 2
    };

    /// An entry of the stack of open collections.
    struct DataObjectHandlerInfo
    {
        DataObject* collection;     ///< Not owned: the tree owns it. Null when it is not in the tree.
        DataObjectHandlerType type; ///< What the collection is.
    };

    /// The tree; empty before the first event. Without `reset`, a second document goes into the first one's root.
    const SharedPtr<DataObject>& getRoot() const { return m_dataObject; }

    void reset() override; ///< Lets the tree go.
    void onInteger(WeakPtr<Deserializer> deserializer, const char* key, int value) override;
    void onInteger(WeakPtr<Deserializer> deserializer, const char* key, long long value) override;
    void onDouble(WeakPtr<Deserializer> deserializer, const char* key, double value) override;
    void onString(WeakPtr<Deserializer> deserializer, const char* key, const char* value) override;
    void onBoolean(WeakPtr<Deserializer> deserializer, const char* key, bool value) override;
    void onNull(WeakPtr<Deserializer> deserializer, const char* key) override;
    Handler* arrayStart(WeakPtr<Deserializer> deserializer, const char* key) override;
    void arrayEnd(WeakPtr<Deserializer> deserializer) override;
    Handler* objectStart(WeakPtr<Deserializer> deserializer, const char* key) override;
    void objectEnd(WeakPtr<Deserializer> deserializer) override;

    /// Puts `node` into the innermost open collection, or makes it the root. False when it was dropped.
    bool handleDataObject(AutoPtr<DataObject> node, const char* key);

    /// As `handleDataObject`, and opens the collection that the node is. One that was dropped is open all the same,
    /// up to its end; what is put into it is dropped too.
    void pushCollection(AutoPtr<DataObject> node, const char* key, DataObjectHandlerType type);

    /// Opens the root, so that it stays the target of what comes after its end.
    void pushRoot();

    /// The innermost open collection, valid until its end. Empty for one that found no memory for its entry, and when
    /// none is open, which is reported (fatal).
    const SharedPtr<DataObjectHandlerInfo>& getTopOfStack() const;

    bool hasOpenEntry() const { return !m_objectStack.isEmpty(); } ///< The stack is not empty.

private:
    static constexpr unsigned int MAX_OPEN = 16;

    OSTREL_LOCAL void checkMade(const DataObject* node) const;
    OSTREL_LOCAL void addNew(AutoPtr<DataObject> node, const char* key);
    OSTREL_LOCAL void push(DataObject* collection, DataObjectHandlerType type);
    OSTREL_LOCAL void pop();

    SharedPtr<DataObject> m_dataObject;
    FixedArrayList<SharedPtr<DataObjectHandlerInfo>, MAX_OPEN> m_objectStack;
};

} // namespace Ostrel
