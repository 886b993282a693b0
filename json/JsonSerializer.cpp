#include "json/JsonSerializer.h"

#include "ostrel/internal/TextSerializerImpl.h"

using Ostrel::StructBuilder;

template class Ostrel::TextSerializer<json::JsonGen>;

namespace json {

namespace {

// Log collectors match on file and line, so the numbers of these sites outlive edits.
const Ostrel::MisuseSites SITES = {
    __FILE__,
    81,  // list
    115, // serializable
    141, // integer
    174, // double
    188, // double with digits
    230, // string
    261, // bool
    289, // null
    302, // nesting
};

} // namespace

JsonSerializer::JsonSerializer() : TextSerializer(SITES) {}

JsonSerializer::~JsonSerializer() = default;

StructBuilder& JsonSerializer::add(const char* key, int value)
{
    return add(key, static_cast<long long>(value));
}

StructBuilder& JsonSerializer::add(const char* key, long long value)
{
    return addInteger(key, value);
}

StructBuilder& JsonSerializer::add(int value)
{
    return add(static_cast<long long>(value));
}

StructBuilder& JsonSerializer::add(long long value)
{
    return addInteger(value);
}

} // namespace json
