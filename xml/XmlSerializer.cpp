#include "xml/XmlSerializer.h"

#include "ostrel/internal/TextSerializerImpl.h"

template class Ostrel::TextSerializer<xml::XmlGen>;

namespace xml {

namespace {

// Log collectors match on file and line, so the numbers of these sites outlive edits.
const Ostrel::MisuseSites SITES = {
    __FILE__,
    79,  // list
    113, // serializable
    134, // integer
    162, // double
    176, // double with digits
    218, // string
    249, // bool
    277, // null
    290, // nesting
};

} // namespace

XmlSerializer::XmlSerializer() : TextSerializer(SITES) {}

XmlSerializer::~XmlSerializer() = default;

} // namespace xml
