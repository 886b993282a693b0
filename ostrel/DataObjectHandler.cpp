#include "ostrel/DataObjectHandler.h"

#include <climits>
#include <new>
#include <utility>

#include "ostrel/Report.h"

namespace Ostrel {

namespace {

/// Toward zero, saturating, 0 for a NaN: what the cast alone gives differs between processors.
int truncateToInt(double value)
{
    if (value != value)
        return 0;
    if (value >= INT_MAX)
        return INT_MAX;
    if (value <= INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

DataObjectHandler::DataObjectHandlerType getType(const DataObject* node)
{
    if (dynamic_cast<const DataObjectMap*>(node) != nullptr)
        return DataObjectHandler::TYPE_MAP;
    if (dynamic_cast<const DataObjectList*>(node) != nullptr)
        return DataObjectHandler::TYPE_LIST;
    return DataObjectHandler::TYPE_VALUE;
}

/// Whether a change of a collection was made. One that a collection refuses for what it is given is no lack of memory.
bool isStored(int code, const DataObject* collection, const char* key)
{
    if (code == 0)
        return true;
    const bool isMapFull = key != nullptr && getType(collection) == DataObjectHandler::TYPE_MAP;
    OSTREL_CHECK(FATAL, "node is stored", code == -1 && !isMapFull);
    return false;
}

} // namespace

void DataObjectHandler::reset()
{
    m_dataObject.reset();
    m_objectStack.clear();
}

/// Reports a node that found no memory. A root that is missing is reported where it would be opened.
inline void DataObjectHandler::checkMade(const DataObject* node) const
{
    OSTREL_CHECK(FATAL, "node", node != nullptr || m_objectStack.isEmpty());
}

inline void DataObjectHandler::addNew(AutoPtr<DataObject> node, const char* key)
{
    checkMade(node.get());
    handleDataObject(std::move(node), key);
}

void DataObjectHandler::onInteger(WeakPtr<Deserializer> deserializer, const char* key, int value)
{
    onInteger(deserializer, key, static_cast<long long>(value));
}

void DataObjectHandler::onInteger(WeakPtr<Deserializer>, const char* key, long long value)
{
    addNew(DataObject::createInt(value), key);
}

void DataObjectHandler::onDouble(WeakPtr<Deserializer> deserializer, const char* key, double value)
{
    onInteger(deserializer, key, truncateToInt(value));
}

void DataObjectHandler::onString(WeakPtr<Deserializer>, const char* key, const char* value)
{
    addNew(DataObject::createString(value), key);
}

void DataObjectHandler::onBoolean(WeakPtr<Deserializer>, const char* key, bool value)
{
    addNew(DataObject::createInt(value ? 1 : 0), key);
}

void DataObjectHandler::onNull(WeakPtr<Deserializer>, const char* key)
{
    addNew(AutoPtr<DataObject>(new (std::nothrow) NullDataObject), key);
}

Deserializer::Handler* DataObjectHandler::arrayStart(WeakPtr<Deserializer>, const char* key)
{
    AutoPtr<DataObject> node(new (std::nothrow) DataObjectList);
    checkMade(node.get());
    pushCollection(std::move(node), key, TYPE_LIST);
    return nullptr;
}

void DataObjectHandler::arrayEnd(WeakPtr<Deserializer>)
{
    pop();
}

Deserializer::Handler* DataObjectHandler::objectStart(WeakPtr<Deserializer>, const char* key)
{
    AutoPtr<DataObject> node(new (std::nothrow) DataObjectMap);
    checkMade(node.get());
    pushCollection(std::move(node), key, TYPE_MAP);
    return nullptr;
}

void DataObjectHandler::objectEnd(WeakPtr<Deserializer>)
{
    pop();
}

bool DataObjectHandler::handleDataObject(AutoPtr<DataObject> node, const char* key)
{
    if (m_objectStack.isEmpty()) {
        m_dataObject = SharedPtr<DataObject>(std::move(node));
        const bool isKept = m_dataObject.get() != nullptr;
        pushRoot();
        return isKept;
    }

    const DataObjectHandlerInfo* top = m_objectStack.end()[-1].get();
    if (top == nullptr || top->type == TYPE_VALUE || top->collection == nullptr)
        return false;
    if (top->type == TYPE_LIST)
        return isStored(top->collection->append(std::move(node)), top->collection, nullptr);
    return isStored(top->collection->set(key, std::move(node)), top->collection, key);
}

// A root collection is on the stack twice, by handleDataObject's pushRoot() and by the push here. One entry is left
// after its end, so that the root stays the target of later values until reset(): see docs/compatibility.md.
void DataObjectHandler::pushCollection(AutoPtr<DataObject> node, const char* key, DataObjectHandlerType type)
{
    DataObject* collection = node.get();
    const bool isInTree = handleDataObject(std::move(node), key);
    push(isInTree ? collection : nullptr, type);
}

void DataObjectHandler::pushRoot()
{
    OSTREL_CHECK(FATAL, "m_dataObject", m_dataObject.get() != nullptr);
    push(m_dataObject.get(), getType(m_dataObject.get()));
}

const SharedPtr<DataObjectHandler::DataObjectHandlerInfo>& DataObjectHandler::getTopOfStack() const
{
    static const SharedPtr<DataObjectHandlerInfo> NONE;
    if (!OSTREL_CHECK(FATAL, "!m_objectStack.isEmpty()", !m_objectStack.isEmpty()))
        return NONE;

    return m_objectStack[m_objectStack.getSize() - 1];
}

void DataObjectHandler::push(DataObject* collection, DataObjectHandlerType type)
{
    // Without memory an empty entry, which is reported, so that the ends still balance.
    SharedPtr<DataObjectHandlerInfo> info = SharedPtr<DataObjectHandlerInfo>::make(collection, type);
    info.require();
    OSTREL_CHECK(FATAL, "0 == m_objectStack.append(info)", 0 == m_objectStack.append(std::move(info)));
}

void DataObjectHandler::pop()
{
    OSTREL_CHECK(FATAL, "0 == m_objectStack.remove(m_objectStack.getSize() - 1)",
                 0 == m_objectStack.remove(m_objectStack.getSize() - 1));
}

} // namespace Ostrel
