#include "json/JsonSerializer.h"

#include <new>

#include "ostrel/Report.h"
#include "ostrel/Serializable.h"

using Ostrel::Serializable;
using Ostrel::StructBuilder;

namespace json {

namespace {

// Log collectors match on file and line, so the numbers of these sites outlive edits.
enum ReportLine {
    LINE_LIST = 81,
    LINE_SERIALIZABLE = 115,
    LINE_INTEGER = 141,
    LINE_DOUBLE = 174,
    LINE_DOUBLE_WITH_DIGITS = 188,
    LINE_STRING = 230,
    LINE_BOOL = 261,
    LINE_NULL = 289
};

const unsigned char DEFAULT_DIGITS = 6;

} // namespace

JsonSerializer::JsonSerializer() : _generator(new (std::nothrow) JsonGen), _pendingKey(nullptr), _errorText(nullptr) {}

JsonSerializer::~JsonSerializer() = default;

const char* JsonSerializer::getErrorString() const
{
    if (_errorText != nullptr)
        return _errorText;
    if (_generator == nullptr)
        return JsonGen::getStatusString(JsonGen::OUT_OF_MEMORY);
    return isOk() ? nullptr : _generator->getStatusString();
}

void JsonSerializer::reset()
{
    if (_generator != nullptr)
        _generator->reset();
}

bool JsonSerializer::isOk() const
{
    return _errorText == nullptr && _generator != nullptr && _generator->isOk();
}

const char* JsonSerializer::getData() const
{
    return _generator == nullptr ? nullptr : _generator->getData();
}

unsigned int JsonSerializer::getDataLength() const
{
    return _generator == nullptr ? 0 : _generator->getLength();
}

void JsonSerializer::nullTerminateData()
{
    if (_generator != nullptr)
        _generator->nullTerminate();
}

const char* JsonSerializer::takePendingKey()
{
    const char* const key = _pendingKey;
    _pendingKey = nullptr;
    return key;
}

/// True, with the misuse kept and reported, when a key is pending.
bool JsonSerializer::refuseKeyed(int line, const char* text)
{
    if (_pendingKey == nullptr)
        return false;
    _errorText = text;
    OSTREL_REPORT_AT(RECOVERABLE, line, "%s", text);
    return true;
}

template <class... Value>
StructBuilder& JsonSerializer::addKeyed(int line, const char* misuse, const char* key, Value... value)
{
    if (_generator != nullptr && !refuseKeyed(line, misuse))
        _generator->add(key, value...);
    return *this;
}

template <class... Value>
StructBuilder& JsonSerializer::addKeyless(Value... value)
{
    if (_generator == nullptr)
        return *this;
    if (_pendingKey == nullptr)
        _generator->add(value...);
    else
        _generator->add(takePendingKey(), value...);
    return *this;
}

StructBuilder& JsonSerializer::map(const char* key)
{
    // A pending key is not looked at, unlike in every other keyed call; it stays for the next keyless one.
    if (_generator != nullptr)
        _generator->object(key);
    return *this;
}

StructBuilder& JsonSerializer::map()
{
    if (_generator != nullptr)
        _generator->object(takePendingKey());
    return *this;
}

StructBuilder& JsonSerializer::list(const char* key)
{
    if (_generator == nullptr)
        return *this;
    if (_pendingKey != nullptr) {
        _errorText = "Unexpected list with key";
        OSTREL_REPORT_AT(RECOVERABLE, LINE_LIST, "%s ... %s", _errorText, key);
        return *this;
    }
    _generator->array(key);
    return *this;
}

StructBuilder& JsonSerializer::list()
{
    if (_generator != nullptr)
        _generator->array(takePendingKey());
    return *this;
}

StructBuilder& JsonSerializer::end()
{
    if (_generator != nullptr)
        _generator->end();
    return *this;
}

StructBuilder& JsonSerializer::add(const char* key, const Serializable& value)
{
    if (_generator == nullptr)
        return *this;
    // The value is written in either case: after a misuse it takes the older key.
    if (!refuseKeyed(LINE_SERIALIZABLE, "Unexpected serializable with key"))
        _pendingKey = key;
    value.serialize(*this);
    return *this;
}

StructBuilder& JsonSerializer::add(const Serializable& value)
{
    if (_generator != nullptr)
        value.serialize(*this);
    return *this;
}

StructBuilder& JsonSerializer::add(const char* key, int value)
{
    return add(key, static_cast<long long>(value));
}

StructBuilder& JsonSerializer::add(const char* key, long long value)
{
    return addKeyed(LINE_INTEGER, "Unexpected integer with key", key, value);
}

StructBuilder& JsonSerializer::add(int value)
{
    return add(static_cast<long long>(value));
}

StructBuilder& JsonSerializer::add(long long value)
{
    return addKeyless(value);
}

StructBuilder& JsonSerializer::add(const char* key, double value)
{
    return addKeyed(LINE_DOUBLE, "Unexpected double with key", key, value, DEFAULT_DIGITS);
}

StructBuilder& JsonSerializer::add(const char* key, double value, unsigned char digits)
{
    return addKeyed(LINE_DOUBLE_WITH_DIGITS, "Unexpected double with key", key, value, digits);
}

StructBuilder& JsonSerializer::add(double value)
{
    return addKeyless(value, DEFAULT_DIGITS);
}

StructBuilder& JsonSerializer::add(double value, unsigned char digits)
{
    return addKeyless(value, digits);
}

StructBuilder& JsonSerializer::add(const char* key, const char* value)
{
    return addKeyed(LINE_STRING, "Unexpected string with key", key, value);
}

StructBuilder& JsonSerializer::add(const char* value)
{
    return value == nullptr ? *this : addKeyless(value);
}

StructBuilder& JsonSerializer::add(const char* key, bool value)
{
    return addKeyed(LINE_BOOL, "Unexpected bool with key", key, value);
}

StructBuilder& JsonSerializer::add(bool value)
{
    return addKeyless(value);
}

StructBuilder& JsonSerializer::add(const char* key, NullType)
{
    return addKeyed(LINE_NULL, "Unexpected null with key", key, JsonGen::NullType());
}

StructBuilder& JsonSerializer::add(NullType)
{
    return addKeyless(JsonGen::NullType());
}

} // namespace json
