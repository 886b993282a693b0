#include "xml/XmlSerializer.h"

#include "ostrel/internal/TextSerializerImpl.h"

template class Ostrel::TextSerializer<xml::XmlGen>;

namespace xml {

namespace {

constexpr int LINE_LIST = 79;
constexpr int LINE_SERIALIZABLE = 113;
constexpr int LINE_INTEGER = 134;
constexpr int LINE_REAL = 162;
constexpr int LINE_REAL_WITH_DIGITS = 176;
constexpr int LINE_TEXT = 218;
constexpr int LINE_BOOLEAN = 249;
constexpr int LINE_NULL = 277;
constexpr int LINE_NESTING = 290;

const Ostrel::MisuseSites SITES = {
    __FILE__,  LINE_LIST,    LINE_SERIALIZABLE, LINE_INTEGER, LINE_REAL, LINE_REAL_WITH_DIGITS,
    LINE_TEXT, LINE_BOOLEAN, LINE_NULL,         LINE_NESTING,
};

} // namespace

XmlSerializer::XmlSerializer() : TextSerializer(SITES) {}

XmlSerializer::~XmlSerializer() = default;

} // namespace xml
