#include "json/JsonSerializer.h"

#include "ostrel/internal/TextSerializerImpl.h"

template <>
constexpr bool Ostrel::TAKES_64_BITS<json::JsonGen> = true;

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

} // namespace json
