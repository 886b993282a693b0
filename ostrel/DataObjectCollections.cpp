#include "ostrel/DataObject.h"

#include <cstdio>
#include <new>
#include <utility>

#include "ostrel/StructBuilder.h"

namespace Ostrel {

namespace {

/// Copies a child, which may be missing. False when memory is exhausted: a container never loses a child by a clone.
bool cloneChild(const DataObject* child, AutoPtr<DataObject>& copy)
{
    if (child == nullptr)
        return true;

    copy = child->clone();
    return copy != nullptr;
}

/// Nodes lie all over the heap, and waiting for them is most of the work of writing or freeing a large tree: asking for
/// the third next one while this one is handled takes a quarter of the time off.
const unsigned int FETCH_AHEAD = 3;

void fetch(DataObject* child)
{
    __builtin_prefetch(child);
}

template <class Entry>
void fetch(const Entry& entry)
{
    __builtin_prefetch(entry.key);
    __builtin_prefetch(entry.value);
}

template <class Children, class Visit>
void visitAll(const Children& children, const Visit& visit)
{
    const auto end = children.end();
    for (auto child = children.begin(); child != end; ++child) {
        if (end - child > FETCH_AHEAD)
            fetch(child[FETCH_AHEAD]);
        visit(*child);
    }
}

/// Ends the line of a child: what it is, or the report that it is missing.
void printChild(WeakPtr<DataObject> child, int depth)
{
    if (const DataObject* node = child.require())
        node->internalPrint(depth);
}

} // namespace

bool DataObjectList::ListIterator::hasCurrent() const
{
    return _index < static_cast<unsigned int>(_list.getNumChildren());
}

void DataObjectList::ListIterator::next()
{
    ++_index;
}

DataObject& DataObjectList::ListIterator::value() const
{
    return _list.get(static_cast<int>(_index));
}

DataObjectList::~DataObjectList()
{
    visitAll(_children, [](DataObject* child) { delete child; });
}

void DataObjectList::serialize(WeakPtr<StructBuilder> builder) const
{
    StructBuilder* target = builder.require();
    if (target == nullptr)
        return;

    target->list();
    visitAll(_children, [target](DataObject* node) {
        if (const DataObject* child = WeakPtr<DataObject>(node).require())
            target->add(*child);
    });
    target->end();
}

AutoPtr<DataObject::DataObjectIterator> DataObjectList::iterator() const
{
    return AutoPtr<DataObjectIterator>(new (std::nothrow) ListIterator(*this));
}

int DataObjectList::getNumChildren() const
{
    return static_cast<int>(_children.getSize());
}

bool DataObjectList::has(int index) const
{
    return index < getNumChildren(); // signed on purpose: callers count on a negative index being present
}

DataObject& DataObjectList::get(int index) const
{
    static InvalidDataObject invalid;
    if (!has(index))
        return invalid;

    // The access reports a negative index and gives the last child, of an empty list a null one.
    DataObject* child = _children[static_cast<unsigned int>(index)];
    return child == nullptr ? invalid : *child;
}

int DataObjectList::append(AutoPtr<DataObject> child)
{
    const int code = _children.append(child.get());
    if (code == 0)
        child.release();
    return code;
}

AutoPtr<DataObject> DataObjectList::clone() const
{
    AutoPtr<DataObject> copy(new (std::nothrow) DataObjectList);
    if (copy == nullptr)
        return copy;

    for (const DataObject* child : _children) {
        AutoPtr<DataObject> childCopy;
        if (!cloneChild(child, childCopy) || copy->append(std::move(childCopy)) != 0)
            return AutoPtr<DataObject>();
    }
    return copy;
}

AutoPtr<DataObject> DataObjectList::unset(int index)
{
    if (!has(index))
        return AutoPtr<DataObject>();

    const unsigned int position = static_cast<unsigned int>(index);
    AutoPtr<DataObject> child(_children[position]); // reports a negative index
    if (_children.remove(position) != 0)
        _children.remove(_children.getSize() - 1);
    return child;
}

int DataObjectList::set(int index, AutoPtr<DataObject> child)
{
    if (!has(index))
        return -1;

    DataObject*& slot = _children[static_cast<unsigned int>(index)]; // reports a negative index
    if (_children.isEmpty())
        return -1;

    delete std::exchange(slot, child.release());
    return 0;
}

void DataObjectList::print() const
{
    print("Printing DataObjectList:");
}

void DataObjectList::internalPrint(int depth) const
{
    puts("DataObjectList:");
    for (unsigned int i = 0; i < _children.getSize(); ++i) {
        printTabs(depth + 1);
        printf("key: %d\t", static_cast<int>(i));
        printChild(_children[i], depth + 1);
    }
}

bool DataObjectMap::MapIterator::hasCurrent() const
{
    return _map._table.getEntry(_cursor) != nullptr;
}

void DataObjectMap::MapIterator::next()
{
    ++_cursor;
}

DataObject& DataObjectMap::MapIterator::value() const
{
    const Table::Entry* entry = _map._table.getEntry(_cursor);
    return entry == nullptr || entry->value == nullptr ? DataObjectIterator::value() : *entry->value;
}

const char* DataObjectMap::MapIterator::key() const
{
    const Table::Entry* entry = _map._table.getEntry(_cursor);
    return entry == nullptr ? nullptr : entry->key;
}

DataObjectMap::~DataObjectMap()
{
    visitAll(_table, [](const Table::Entry& entry) { delete entry.value; });
}

void DataObjectMap::serialize(WeakPtr<StructBuilder> builder) const
{
    StructBuilder* target = builder.require();
    if (target == nullptr)
        return;

    target->map();
    visitAll(_table, [target](const Table::Entry& entry) {
        if (const DataObject* child = WeakPtr<DataObject>(entry.value).require())
            target->add(entry.key, *child);
    });
    target->end();
}

AutoPtr<DataObject::DataObjectIterator> DataObjectMap::iterator() const
{
    return AutoPtr<DataObjectIterator>(new (std::nothrow) MapIterator(*this));
}

int DataObjectMap::getNumChildren() const
{
    return static_cast<int>(_table.getSize());
}

bool DataObjectMap::has(const char* key) const
{
    return key != nullptr && _table.has(key);
}

DataObject& DataObjectMap::get(const char* key) const
{
    static InvalidDataObject invalid;
    DataObject* child = key == nullptr ? nullptr : _table.get(key);
    return child == nullptr ? invalid : *child;
}

AutoPtr<DataObject> DataObjectMap::clone() const
{
    AutoPtr<DataObject> copy(new (std::nothrow) DataObjectMap);
    if (copy == nullptr)
        return copy;

    for (const Table::Entry& entry : _table) {
        AutoPtr<DataObject> childCopy;
        if (!cloneChild(entry.value, childCopy) || copy->set(entry.key, std::move(childCopy)) != 0)
            return AutoPtr<DataObject>();
    }
    return copy;
}

int DataObjectMap::set(const char* key, AutoPtr<DataObject> child)
{
    if (key == nullptr)
        return -1;

    DataObject* previous = nullptr;
    const int code = _table.set(key, child.get(), &previous);
    if (code == 0)
        child.release();
    delete previous;
    return code;
}

AutoPtr<DataObject> DataObjectMap::unset(const char* key)
{
    return AutoPtr<DataObject>(key == nullptr ? nullptr : _table.remove(key));
}

void DataObjectMap::print() const
{
    print("Printing DataObjectMap:");
}

void DataObjectMap::internalPrint(int depth) const
{
    puts("DataObjectMap:");
    for (const Table::Entry& entry : _table) {
        printTabs(depth + 1);
        printf("key: %s\t", entry.key);
        printChild(entry.value, depth + 1);
    }
}

} // namespace Ostrel
