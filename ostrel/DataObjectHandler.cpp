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

} // namespace

const unsigned int DataObjectHandler::MAX_OPEN;

void DataObjectHandler::reset()
{
    m_dataObject.reset();
    m_objectStack.clear();
}

void DataObjectHandler::onInteger(WeakPtr<Deserializer> deserializer, const char* key, int value)
{
    onInteger(deserializer, key, static_cast<long long>(value));
}

void DataObjectHandler::onInteger(WeakPtr<Deserializer>, const char* key, long long value)
{
    handleDataObject(DataObject::createInt(value), key);
}

void DataObjectHandler::onDouble(WeakPtr<Deserializer> deserializer, const char* key, double value)
{
    onInteger(deserializer, key, truncateToInt(value));
}

void DataObjectHandler::onString(WeakPtr<Deserializer>, const char* key, const char* value)
{
    handleDataObject(DataObject::createString(value), key);
}

void DataObjectHandler::onBoolean(WeakPtr<Deserializer>, const char* key, bool value)
{
    handleDataObject(DataObject::createInt(value ? 1 : 0), key);
}

void DataObjectHandler::onNull(WeakPtr<Deserializer>, const char* key)
{
    handleDataObject(AutoPtr<DataObject>(new (std::nothrow) NullDataObject), key);
}

Deserializer::Handler* DataObjectHandler::arrayStart(WeakPtr<Deserializer>, const char* key)
{
    pushCollection(AutoPtr<DataObject>(new (std::nothrow) DataObjectList), key, TYPE_LIST);
    return nullptr;
}

void DataObjectHandler::arrayEnd(WeakPtr<Deserializer>)
{
    pop();
}

Deserializer::Handler* DataObjectHandler::objectStart(WeakPtr<Deserializer>, const char* key)
{
    pushCollection(AutoPtr<DataObject>(new (std::nothrow) DataObjectMap), key, TYPE_MAP);
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

    const DataObjectHandlerInfo* top = getTopOfStack().get();
    if (top == nullptr || top->type == TYPE_VALUE)
        return false;
    if (top->type == TYPE_MAP)
        return top->collection->set(key, std::move(node)) == 0;
    return top->collection->append(std::move(node)) == 0;
}

// A root collection is on the stack twice, by handleDataObject's pushRoot() and by the push here. One entry is left
// after its end, and callers rely on that: the root stays the target of later values until reset().
void DataObjectHandler::pushCollection(AutoPtr<DataObject> node, const char* key, DataObjectHandlerType type)
{
    DataObject* collection = node.get();
    // A collection that is not in the tree swallows what follows, so that the end events still balance.
    const bool isInTree = handleDataObject(std::move(node), key) && collection != nullptr;
    push(isInTree ? collection : nullptr, isInTree ? type : TYPE_VALUE);
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
    SharedPtr<DataObjectHandlerInfo> info = takeInfo();
    if (info)
        *info = {collection, type};
    OSTREL_CHECK(FATAL, "0 == m_objectStack.append(info)", 0 == m_objectStack.append(std::move(info)));
}

void DataObjectHandler::pop()
{
    // Kept for the next collection: a document opens thousands, but never more than the stack holds at once.
    if (!m_objectStack.isEmpty())
        m_spareInfos.append(std::move(m_objectStack[m_objectStack.getSize() - 1]));
    OSTREL_CHECK(FATAL, "0 == m_objectStack.remove(m_objectStack.getSize() - 1)",
                 0 == m_objectStack.remove(m_objectStack.getSize() - 1));
}

/// Empty when memory is exhausted.
SharedPtr<DataObjectHandler::DataObjectHandlerInfo> DataObjectHandler::takeInfo()
{
    if (m_spareInfos.isEmpty())
        return SharedPtr<DataObjectHandlerInfo>(new (std::nothrow) DataObjectHandlerInfo{nullptr, TYPE_VALUE});

    const unsigned int last = m_spareInfos.getSize() - 1;
    SharedPtr<DataObjectHandlerInfo> info = std::move(m_spareInfos[last]);
    m_spareInfos.remove(last);
    return info;
}

} // namespace Ostrel
