#include "ostrel/DataObject.h"

#include <cstdio>
#include <new>

namespace Ostrel {

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
    return d; // a null default throws std::logic_error, as the header says
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
    puts(label == nullptr ? "" : label);
    internalPrint(0);
}

void DataObject::printTabs(int n) const
{
    for (int i = 0; i < n; ++i)
        putchar('\t');
}

} // namespace Ostrel
