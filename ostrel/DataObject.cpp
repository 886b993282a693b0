#include "ostrel/DataObject.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <sstream>
#include <strings.h>
#include <utility>

#include "ostrel/Narrowing.h"
#include "ostrel/StructBuilder.h"

namespace Ostrel {

namespace {

bool isOneOf(const char* text, const char* const (&words)[3])
{
    for (const char* word : words) {
        if (strcasecmp(text, word) == 0)
            return true;
    }
    return false;
}

/// What `strtol` gives where long has 32 bits, on every host.
int clampToInt(long long value)
{
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

AutoPtr<DataObject> cloneChild(const DataObject* child)
{
    return child == nullptr ? AutoPtr<DataObject>() : child->clone();
}

/// Ends the line of a child: what it is, or the report that it is missing.
void printChild(WeakPtr<DataObject> child, int depth)
{
    if (const DataObject* node = child.require())
        node->internalPrint(depth);
}

} // namespace

DataObject::DataObjectIterator::~DataObjectIterator() = default;

bool DataObject::DataObjectIterator::hasCurrent() const
{
    return false;
}

void DataObject::DataObjectIterator::next() {}

DataObject& DataObject::DataObjectIterator::value() const
{
    static InvalidDataObject invalid;
    return invalid;
}

const char* DataObject::DataObjectIterator::key() const
{
    return nullptr;
}

AutoPtr<DataObject> DataObject::createInt(long long value)
{
    return AutoPtr<DataObject>(new (std::nothrow) IntegerDataObject(value));
}

AutoPtr<DataObject> DataObject::createString(const char* text)
{
    return AutoPtr<DataObject>(new (std::nothrow) StringDataObject(text));
}

AutoPtr<DataObject> DataObject::createString(const ReadableString& text)
{
    return createString(text.getData());
}

DataObject::~DataObject() = default;

const char* DataObject::getTypeName() const
{
    return "DataObject";
}

void DataObject::serialize(WeakPtr<StructBuilder>) const {}

AutoPtr<DataObject::DataObjectIterator> DataObject::iterator() const
{
    return AutoPtr<DataObjectIterator>(new (std::nothrow) DataObjectIterator);
}

int DataObject::toInt(int d) const
{
    return d;
}

long long DataObject::toInt64(long long d) const
{
    return d;
}

float DataObject::toFloat(float d) const
{
    return d;
}

const char* DataObject::toString(const char* d) const
{
    return d;
}

int DataObject::convertToInt(int d) const
{
    return d;
}

std::string DataObject::convertToStdString(const char* d) const
{
    return d; // a null default throws std::logic_error, and callers are told so
}

bool DataObject::convertToBool(bool d) const
{
    return d;
}

bool DataObject::isNull() const
{
    return false;
}

bool DataObject::isValid() const
{
    return true;
}

int DataObject::getNumChildren() const
{
    return 0;
}

bool DataObject::has(int) const
{
    return false;
}

bool DataObject::has(const char*) const
{
    return false;
}

DataObject& DataObject::get(int) const
{
    static InvalidDataObject invalid;
    return invalid;
}

DataObject& DataObject::get(const char*) const
{
    static InvalidDataObject invalid;
    return invalid;
}

int DataObject::append(AutoPtr<DataObject>)
{
    return -1;
}

int DataObject::set(const char*, AutoPtr<DataObject>)
{
    return -1;
}

AutoPtr<DataObject> DataObject::unset(const char*)
{
    return AutoPtr<DataObject>();
}

AutoPtr<DataObject> DataObject::unset(int)
{
    return AutoPtr<DataObject>();
}

int DataObject::set(int, AutoPtr<DataObject>)
{
    return -1;
}

const unsigned char* DataObject::binaryValue() const
{
    return nullptr;
}

unsigned int DataObject::binaryLength() const
{
    return 0;
}

void DataObject::print(const char* label) const
{
    puts(label);
    internalPrint(0);
}

void DataObject::printTabs(int n) const
{
    for (int i = 0; i < n; ++i)
        putchar('\t');
}

AutoPtr<DataObject> IntegerDataObject::create(const char* text)
{
    long long value = 0;
    const bool isNumber = text != nullptr && sscanf(text, "%lld", &value) == 1;
    // The conversion clamps, so both ends of the range are taken as overflow.
    if (!isNumber || value == LLONG_MAX || value == LLONG_MIN)
        return AutoPtr<DataObject>(new (std::nothrow) InvalidDataObject);

    return createInt(value);
}

void IntegerDataObject::serialize(WeakPtr<StructBuilder> builder) const
{
    if (StructBuilder* target = builder.require())
        target->add(_value);
}

int IntegerDataObject::toInt(int) const
{
    return toLow32Bits(_value);
}

long long IntegerDataObject::toInt64(long long) const
{
    return _value;
}

float IntegerDataObject::toFloat(float) const
{
    return static_cast<float>(_value);
}

int IntegerDataObject::convertToInt(int) const
{
    return toLow32Bits(_value);
}

std::string IntegerDataObject::convertToStdString(const char*) const
{
    std::ostringstream stream;
    stream << _value;
    return stream.str();
}

bool IntegerDataObject::convertToBool(bool) const
{
    return _value != 0;
}

AutoPtr<DataObject> IntegerDataObject::clone() const
{
    return AutoPtr<DataObject>(new IntegerDataObject(_value));
}

void IntegerDataObject::print() const
{
    print("Printing IntegerDataObject:");
}

void IntegerDataObject::internalPrint(int) const
{
    printf("IntegerDataObject: %lli\n", _value);
}

void StringDataObject::serialize(WeakPtr<StructBuilder> builder) const
{
    if (StructBuilder* target = builder.require())
        target->add(_text.getData());
}

const char* StringDataObject::toString(const char*) const
{
    return _text.getData();
}

int StringDataObject::convertToInt(int d) const
{
    const char* text = _text.getData();
    if (text == nullptr || *text == '\0')
        return d;
    // These three only: the conversion below skips other white space, and stored settings rely on that.
    if (*text == ' ' || *text == '\t' || *text == '\n')
        return d;

    char* end = nullptr;
    const long long value = strtoll(text, &end, 10);
    return *end == '\0' ? clampToInt(value) : d;
}

std::string StringDataObject::convertToStdString(const char*) const
{
    return _text.getData();
}

bool StringDataObject::convertToBool(bool d) const
{
    static const char* const TRUE_WORDS[] = {"true", "yes", "on"};
    static const char* const FALSE_WORDS[] = {"false", "no", "off"};

    const char* text = _text.getData();
    if (text == nullptr || *text == '\0')
        return d;
    if (isOneOf(text, TRUE_WORDS) || convertToInt(0) != 0)
        return true;
    if (isOneOf(text, FALSE_WORDS) || convertToInt(1) == 0)
        return false;
    return d;
}

AutoPtr<DataObject> StringDataObject::clone() const
{
    return AutoPtr<DataObject>(new StringDataObject(_text));
}

void StringDataObject::print() const
{
    print("Printing StringDataObject:");
}

void StringDataObject::internalPrint(int) const
{
    printf("StringDataObject: %s\n", toString(nullptr));
}

void NullDataObject::serialize(WeakPtr<StructBuilder> builder) const
{
    if (StructBuilder* target = builder.require())
        target->add(StructBuilder::NullType());
}

bool NullDataObject::isNull() const
{
    return true;
}

AutoPtr<DataObject> NullDataObject::clone() const
{
    return AutoPtr<DataObject>(new NullDataObject);
}

void NullDataObject::print() const
{
    print("Printing NullDataObject:");
}

void NullDataObject::internalPrint(int) const
{
    puts("NullDataObject");
}

bool InvalidDataObject::isNull() const
{
    return true;
}

bool InvalidDataObject::isValid() const
{
    return false;
}

AutoPtr<DataObject> InvalidDataObject::clone() const
{
    return AutoPtr<DataObject>(new InvalidDataObject);
}

void InvalidDataObject::print() const
{
    print("Printing InvalidDataObject:");
}

void InvalidDataObject::internalPrint(int) const
{
    puts("INVALID DATA OBJECT");
}

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
    for (DataObject* child : _children)
        delete child;
}

void DataObjectList::serialize(WeakPtr<StructBuilder> builder) const
{
    StructBuilder* target = builder.require();
    if (target == nullptr)
        return;

    target->list();
    for (DataObject* node : _children) {
        if (const DataObject* child = WeakPtr<DataObject>(node).require())
            target->add(*child);
    }
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
        if (copy->append(cloneChild(child)) != 0)
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
    for (const Table::Entry& entry : _table)
        delete entry.value;
}

void DataObjectMap::serialize(WeakPtr<StructBuilder> builder) const
{
    StructBuilder* target = builder.require();
    if (target == nullptr)
        return;

    target->map();
    for (const Table::Entry& entry : _table) {
        if (const DataObject* child = WeakPtr<DataObject>(entry.value).require())
            target->add(entry.key, *child);
    }
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
        if (copy->set(entry.key, cloneChild(entry.value)) != 0)
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
