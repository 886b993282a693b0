/// RapidJSON's reader in front of an `EventCounter`. Included by one source for each configuration of RapidJSON.
#pragma once

#include <rapidjson/reader.h>

#include "bench/JsonParseBench.h"

namespace {

class RapidJsonHandler
{
public:
    explicit RapidJsonHandler(bench::EventCounter& counter) : _counter(counter) {}

    bool Null() { return _counter.onScalar(0); }
    bool Bool(bool value) { return _counter.onScalar(value ? 1 : 0); }
    bool Int(int value) { return _counter.onScalar(value); }
    bool Uint(unsigned int value) { return _counter.onScalar(value); }
    bool Int64(int64_t value) { return _counter.onScalar(static_cast<double>(value)); }
    bool Uint64(uint64_t value) { return _counter.onScalar(static_cast<double>(value)); }
    bool Double(double value) { return _counter.onScalar(value); }
    bool RawNumber(const char*, unsigned int, bool) { return false; }
    bool String(const char* text, unsigned int length, bool) { return _counter.onText(text, length); }
    bool Key(const char* text, unsigned int length, bool) { return _counter.onText(text, length); }
    bool StartObject() { return _counter.onBracket(); }
    bool EndObject(unsigned int) { return _counter.onBracket(); }
    bool StartArray() { return _counter.onBracket(); }
    bool EndArray(unsigned int) { return _counter.onBracket(); }

private:
    bench::EventCounter& _counter;
};

} // namespace
