#include "ostrel/DataObject.h"

#include <cstdio>
#include <new>
#include <typeinfo>
#include <utility>

#include "ostrel/Report.h"
#include "ostrel/StructBuilder.h"
#include "ostrel/internal/Nesting.h"

namespace Ostrel {

/// A list or a map as places with a child each, for the steps that go through a whole tree without recursion. Only
/// nodes of exactly these kinds are one: a derived kind has a destructor and a `clone` of its own.
class DataObjectCollection
{
public:
    explicit DataObjectCollection(DataObjectList* list) : _list(list), _map(nullptr) {}
    explicit DataObjectCollection(DataObjectMap* map) : _list(nullptr), _map(map) {}

    /// What is no collection, null too, is one without any place.
    explicit DataObjectCollection(DataObject* node = nullptr) : _list(nullptr), _map(nullptr)
    {
        if (node == nullptr)
            return;
        // By address: a node of the same kind that had another one would be freed and copied all the same.
        const std::type_info* const kind = &typeid(*node);
        if (kind == &typeid(DataObjectList))
            _list = static_cast<DataObjectList*>(node);
        else if (kind == &typeid(DataObjectMap))
            _map = static_cast<DataObjectMap*>(node);
    }

    bool exists() const { return _list != nullptr || _map != nullptr; }

    unsigned int getSize() const
    {
        if (_list != nullptr)
            return _list->_children.getSize();
        return _map == nullptr ? 0 : _map->_table.getSize();
    }

    DataObject*& getChild(unsigned int place) const
    {
        if (_list != nullptr)
            return _list->_children.begin()[place];
        return const_cast<DataObjectMap::Table::Entry*>(_map->_table.begin())[place].value; // the table is not const
    }

    const char* getKey(unsigned int place) const { return _map == nullptr ? nullptr : _map->_table.begin()[place].key; }

    AutoPtr<DataObject> makeEmpty() const ///< Empty when memory is exhausted.
    {
        if (_list != nullptr)
            return AutoPtr<DataObject>(new (std::nothrow) DataObjectList);
        return AutoPtr<DataObject>(new (std::nothrow) DataObjectMap);
    }

    /// Without a key for a list. 0, or another code when memory is exhausted.
    int add(const char* key, AutoPtr<DataObject> child) const
    {
        return _list != nullptr ? _list->append(std::move(child)) : _map->set(key, std::move(child));
    }

    /// Deletes a collection whose children are gone.
    void destroy() const
    {
        if (_list != nullptr) {
            _list->_children.clear();
            delete _list;
        } else {
            _map->_table.clear();
            delete _map;
        }
    }

private:
    DataObjectList* _list;
    DataObjectMap* _map;
};

namespace {

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

/// By index against the size of that moment, each child or entry as a copy: a child that is visited may change the
/// collection that holds it.
template <class Children, class Visit>
void visitAll(const Children& children, const Visit& visit)
{
    for (unsigned int i = 0; i < children.getSize(); ++i) {
        if (children.getSize() - i > FETCH_AHEAD)
            fetch(children.begin()[i + FETCH_AHEAD]);
        const auto child = children.begin()[i];
        visit(child);
    }
}

/// Deletes all that is below a collection, however deep, with the same small stack. Inner collections wait in a chain:
/// the first place of each leads to the next one, after the child there took the place that led to the collection.
void deleteChildren(DataObjectCollection collection)
{
    DataObject* waiting = nullptr;
    for (unsigned int first = 0;; first = 1) {
        const unsigned int size = collection.getSize();
        for (unsigned int i = first; i < size; ++i) {
            if (size - i > FETCH_AHEAD)
                fetch(collection.getChild(i + FETCH_AHEAD));
            DataObject* node = collection.getChild(i);
            for (DataObjectCollection inner(node); inner.getSize() > 0; inner = DataObjectCollection(node)) {
                DataObject* const child = std::exchange(inner.getChild(0), waiting);
                waiting = node;
                node = child;
            }
            delete node;
        }
        if (first != 0)
            collection.destroy();
        if (waiting == nullptr)
            return;
        collection = DataObjectCollection(waiting);
        waiting = collection.getChild(0);
    }
}

/// A collection, the copy of it that is being filled, and the place to go on from.
struct CloneStep
{
    DataObjectCollection source;
    DataObjectCollection copy;
    unsigned int place;
};

/// The steps that wait for the end of an inner one. As deep as most trees are, they take no heap.
class WaitingSteps
{
public:
    /// False when memory is exhausted.
    bool push(const CloneStep& step) { return _short.append(step) == 0 || _long.append(step) == 0; }

    /// False when there is none.
    bool pop(CloneStep& step)
    {
        ArrayList<CloneStep>& steps = _long.isEmpty() ? static_cast<ArrayList<CloneStep>&>(_short) : _long;
        if (steps.isEmpty())
            return false;
        step = steps[steps.getSize() - 1];
        steps.remove(steps.getSize() - 1);
        return true;
    }

private:
    FixedArrayList<CloneStep, 16> _short;
    DynamicArrayList<CloneStep, 256> _long;
};

/// Copies all that is below a collection into an empty one, without recursion. False when memory is exhausted: a
/// collection never loses a child by a clone.
bool cloneChildren(DataObjectCollection source, DataObjectCollection copy)
{
    CloneStep step = {source, copy, 0};
    WaitingSteps waiting;
    do {
        while (step.place < step.source.getSize()) {
            DataObject* const child = step.source.getChild(step.place);
            const char* const key = step.source.getKey(step.place);
            ++step.place;

            const DataObjectCollection inner(child);
            AutoPtr<DataObject> childCopy = inner.exists()     ? inner.makeEmpty()
                                            : child == nullptr ? AutoPtr<DataObject>()
                                                               : child->clone();
            if (child != nullptr && childCopy == nullptr)
                return false;
            const DataObjectCollection innerCopy(childCopy.get());
            if (step.copy.add(key, std::move(childCopy)) != 0)
                return false;
            if (inner.getSize() > 0) {
                if (!waiting.push(step))
                    return false;
                step = {inner, innerCopy, 0};
            }
        }
    } while (waiting.pop(step));
    return true;
}

/// Whether the children of a collection are too deep to be shown, which is reported.
bool isTooDeep(int depth)
{
    const int most = MAX_NESTING; // both signed: a dump may start at a negative depth
    return !OSTREL_CHECK(RECOVERABLE, "depth < MAX_NESTING", depth < most);
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
    deleteChildren(DataObjectCollection(this));
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
    return index < getNumChildren(); // signed, so that a negative index is present: see docs/compatibility.md
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
    DataObjectList* const copy = new (std::nothrow) DataObjectList;
    AutoPtr<DataObject> owner(copy);
    // The source is only read.
    const DataObjectCollection source(const_cast<DataObjectList*>(this));
    if (copy == nullptr || !cloneChildren(source, DataObjectCollection(copy)))
        owner.reset();
    return owner;
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
    if (isTooDeep(depth))
        return;
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
    deleteChildren(DataObjectCollection(this));
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
    DataObjectMap* const copy = new (std::nothrow) DataObjectMap;
    AutoPtr<DataObject> owner(copy);
    // The source is only read.
    const DataObjectCollection source(const_cast<DataObjectMap*>(this));
    if (copy == nullptr || !cloneChildren(source, DataObjectCollection(copy)))
        owner.reset();
    return owner;
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
    if (isTooDeep(depth))
        return;
    visitAll(_table, [this, depth](const Table::Entry& entry) {
        printTabs(depth + 1);
        printf("key: %s\t", entry.key);
        printChild(entry.value, depth + 1);
    });
}

} // namespace Ostrel
