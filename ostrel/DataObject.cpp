#include "ostrel/DataObject.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <sstream>
#include <strings.h>

#include "ostrel/StructBuilder.h"
#include "ostrel/internal/Narrowing.h"

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
    puts(label == nullptr ? "" : label);
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

} // namespace Ostrel
