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
    // These three only, while the conversion below skips other white space: see docs/compatibility.md.
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
