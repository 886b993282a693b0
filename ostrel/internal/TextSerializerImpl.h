/// Not installed: internal to the library.
///
/// The steps of `TextSerializer`, for the sources that instantiate it.
#pragma once

#include <new>

#include "ostrel/Report.h"
#include "ostrel/Serializable.h"
#include "ostrel/TextGenerator.h"
#include "ostrel/TextSerializer.h"
#include "ostrel/internal/Nesting.h"
#include "ostrel/internal/RestoredValue.h"

namespace Ostrel {

/// Where a serializer reports its misuses.
struct MisuseSites
{
    const char* file;
    int list;
    int serializable;
    int integer;
    int real;
    int realWithDigits;
    int text;
    int boolean;
    int null;
    int nesting;
};

const unsigned char DEFAULT_DIGITS = 6;

/// Whether a generator takes integers of 64 bits.
template <class Generator>
constexpr bool TAKES_64_BITS = false;

template <class Generator>
TextSerializer<Generator>::TextSerializer(const MisuseSites& sites)
    : _generator(new (std::nothrow) Generator), _pendingKey(nullptr), _errorText(nullptr), _sites(sites), _level(0)
{}

template <class Generator>
TextSerializer<Generator>::~TextSerializer() = default;

template <class Generator>
const char* TextSerializer<Generator>::getErrorString() const
{
    if (_errorText != nullptr)
        return _errorText;
    if (_generator == nullptr)
        return TextGenerator::getStatusString(TextGenerator::OUT_OF_MEMORY);
    return isOk() ? nullptr : _generator->getStatusString();
}

template <class Generator>
void TextSerializer<Generator>::reset()
{
    if (_generator != nullptr)
        _generator->reset();
}

template <class Generator>
bool TextSerializer<Generator>::isOk() const
{
    return _errorText == nullptr && _generator != nullptr && _generator->isOk();
}

template <class Generator>
const char* TextSerializer<Generator>::getData() const
{
    return _generator == nullptr ? nullptr : _generator->getData();
}

template <class Generator>
unsigned int TextSerializer<Generator>::getDataLength() const
{
    return _generator == nullptr ? 0 : _generator->getLength();
}

template <class Generator>
void TextSerializer<Generator>::nullTerminateData()
{
    if (_generator != nullptr)
        _generator->nullTerminate();
}

template <class Generator>
const char* TextSerializer<Generator>::takePendingKey()
{
    const char* const key = _pendingKey;
    _pendingKey = nullptr;
    return key;
}

/// True, with the misuse kept and reported, when a key is pending.
template <class Generator>
bool TextSerializer<Generator>::refuseKeyed(int line, const char* text)
{
    if (_pendingKey == nullptr)
        return false;
    refuse(line, text);
    return true;
}

template <class Generator>
void TextSerializer<Generator>::refuse(int line, const char* text)
{
    _errorText = text;
    OSTREL_REPORT_FROM(RECOVERABLE, _sites.file, line, "%s", text);
}

/// True, with the misuse kept and reported, when one more value inside a value would take too much stack.
template <class Generator>
bool TextSerializer<Generator>::refuseTooDeep()
{
    if (_level < MAX_NESTING)
        return false;
    refuse(_sites.nesting, "Serializable nested too deep");
    return true;
}

template <class Generator>
template <class... Value>
StructBuilder& TextSerializer<Generator>::addKeyed(int line, const char* misuse, const char* key, Value... value)
{
    if (_generator != nullptr && !refuseKeyed(line, misuse))
        _generator->add(key, value...);
    return *this;
}

template <class Generator>
template <class... Value>
StructBuilder& TextSerializer<Generator>::addKeyless(Value... value)
{
    if (_generator == nullptr)
        return *this;
    if (_pendingKey == nullptr)
        _generator->add(value...);
    else
        _generator->add(takePendingKey(), value...);
    return *this;
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::map(const char* key)
{
    // A pending key is not looked at, unlike in every other keyed call; it stays for the next keyless one.
    if (_generator != nullptr)
        _generator->object(key);
    return *this;
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::map()
{
    if (_generator != nullptr)
        _generator->object(takePendingKey());
    return *this;
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::list(const char* key)
{
    if (_generator == nullptr)
        return *this;
    if (_pendingKey != nullptr) {
        _errorText = "Unexpected list with key";
        OSTREL_REPORT_FROM(RECOVERABLE, _sites.file, _sites.list, "%s ... %s", _errorText, key);
        return *this;
    }
    _generator->array(key);
    return *this;
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::list()
{
    if (_generator != nullptr)
        _generator->array(takePendingKey());
    return *this;
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::end()
{
    if (_generator != nullptr)
        _generator->end();
    return *this;
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(const char* key, const Serializable& value)
{
    if (_generator == nullptr || refuseTooDeep())
        return *this;
    // The value is written in either case: after a misuse it takes the older key.
    if (!refuseKeyed(_sites.serializable, "Unexpected serializable with key"))
        _pendingKey = key;
    const RestoredValue<unsigned int> outerLevel(_level, _level + 1);
    value.serialize(*this);
    return *this;
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(const Serializable& value)
{
    if (_generator == nullptr || refuseTooDeep())
        return *this;
    const RestoredValue<unsigned int> outerLevel(_level, _level + 1);
    value.serialize(*this);
    return *this;
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(const char* key, int value)
{
    if constexpr (TAKES_64_BITS<Generator>) {
        return add(key, static_cast<long long>(value)); // virtual: who overrides the wider form gets them all
    } else {
        return addKeyed(_sites.integer, "Unexpected integer with key", key, value);
    }
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(const char* key, long long value)
{
    if constexpr (TAKES_64_BITS<Generator>) {
        return addKeyed(_sites.integer, "Unexpected integer with key", key, value);
    } else {
        return Serializer::add(key, value);
    }
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(int value)
{
    if constexpr (TAKES_64_BITS<Generator>) {
        return add(static_cast<long long>(value));
    } else {
        return addKeyless(value);
    }
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(long long value)
{
    if constexpr (TAKES_64_BITS<Generator>) {
        return addKeyless(value);
    } else {
        return Serializer::add(value);
    }
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(const char* key, double value)
{
    return addKeyed(_sites.real, "Unexpected double with key", key, value, DEFAULT_DIGITS);
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(const char* key, double value, unsigned char digits)
{
    return addKeyed(_sites.realWithDigits, "Unexpected double with key", key, value, digits);
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(double value)
{
    return addKeyless(value, DEFAULT_DIGITS);
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(double value, unsigned char digits)
{
    return addKeyless(value, digits);
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(const char* key, const char* value)
{
    return addKeyed(_sites.text, "Unexpected string with key", key, value);
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(const char* value)
{
    return value == nullptr ? *this : addKeyless(value);
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(const char* key, bool value)
{
    return addKeyed(_sites.boolean, "Unexpected bool with key", key, value);
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(bool value)
{
    return addKeyless(value);
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(const char* key, NullType value)
{
    return addKeyed(_sites.null, "Unexpected null with key", key, value);
}

template <class Generator>
StructBuilder& TextSerializer<Generator>::add(NullType value)
{
    return addKeyless(value);
}

} // namespace Ostrel
