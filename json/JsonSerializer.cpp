#include "json/JsonSerializer.h"

#include "ostrel/internal/TextSerializerImpl.h"

template <>
constexpr bool Ostrel::TAKES_64_BITS<json::JsonGen> = true;

template class Ostrel::TextSerializer<json::JsonGen>;

namespace json {

namespace {

constexpr int LINE_LIST = 81;
constexpr int LINE_SERIALIZABLE = 115;
constexpr int LINE_INTEGER = 141;
constexpr int LINE_REAL = 174;
constexpr int LINE_REAL_WITH_DIGITS = 188;
constexpr int LINE_TEXT = 230;
constexpr int LINE_BOOLEAN = 261;
constexpr int LINE_NULL = 289;
constexpr int LINE_NESTING = 302;

const Ostrel::MisuseSites SITES = {
    __FILE__,  LINE_LIST,    LINE_SERIALIZABLE, LINE_INTEGER, LINE_REAL, LINE_REAL_WITH_DIGITS,
    LINE_TEXT, LINE_BOOLEAN, LINE_NULL,         LINE_NESTING,
};

} // namespace

JsonSerializer::JsonSerializer() : TextSerializer(SITES) {}

JsonSerializer::~JsonSerializer() = default;

} // namespace json
