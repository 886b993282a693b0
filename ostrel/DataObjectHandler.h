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
///     if (deserializer.parse(stream, handler) == 0)
///         printf("%d\n", handler.getRoot()->get("port").toInt(80));
///
/// Integers become integer nodes, booleans 1 or 0. There is no floating-point node: a double is cut to a 32-bit
/// integer, saturating, with 0 for a NaN. At most 14 collections can be open below the root collection.
///
/// Units:     keys and texts are NUL-terminated UTF-8.
/// Ownership: the handler shares the tree with those who took `getRoot()`. Nodes handed in are taken over.
/// Errors:    misuse is reported (fatal) and goes on; a value below a scalar root is dropped without a report.
/// Threads:   one handler serves one parse at a time.
class OSTREL_EXPORT DataObjectHandler : public Deserializer::Handler
{
public:
    /// What an entry of the stack of open collections is.
    enum DataObjectHandlerType {
        TYPE_VALUE = 0, ///< A scalar or a node that is missing: what is put into it is dropped.
        TYPE_LIST = 1,
        TYPE_MAP = 2
    };

    struct DataObjectHandlerInfo
    {
        DataObject* collection; ///< Not owned: the tree owns it.
        DataObjectHandlerType type;
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

    /// As `handleDataObject`, and opens the collection that the node is.
    void pushCollection(AutoPtr<DataObject> node, const char* key, DataObjectHandlerType type);

    /// Opens the root, so that it stays the target of what comes after its end.
    void pushRoot();

    /// The innermost open collection, valid until its end; an empty stack is reported (fatal) and gives an empty
    /// pointer.
    const SharedPtr<DataObjectHandlerInfo>& getTopOfStack() const;

private:
    static const unsigned int MAX_OPEN = 16;

    void push(DataObject* collection, DataObjectHandlerType type);
    void pop();
    SharedPtr<DataObjectHandlerInfo> takeInfo();

    SharedPtr<DataObject> m_dataObject;
    FixedArrayList<SharedPtr<DataObjectHandlerInfo>, MAX_OPEN> m_objectStack;
    FixedArrayList<SharedPtr<DataObjectHandlerInfo>, MAX_OPEN> m_spareInfos;
};

} // namespace Ostrel
