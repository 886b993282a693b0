// Compiled with all inline functions of the headers kept: what they call must be exported, and so must what derived
// classes, dynamic_cast, exceptions and the addresses of constants need.
#include <cstring>

#include "all_headers.h"

template class Ostrel::AutoPtrArray<int>;
template class Ostrel::BufferedInputStream<16>;
template class Ostrel::DynamicArrayList<int, 4>;
template class Ostrel::DynamicLookupTable<int, const char*>;
template class Ostrel::FixedString<8>;

extern const void* const CONSTANTS[];
const void* const CONSTANTS[] = {
    &Ostrel::CallStack::MAX_DEPTH,
    &Ostrel::CHAR_LEN_TABLE,
    &Ostrel::ErrorServer::MESSAGE_SIZE,
    &Ostrel::FileInputStream::UNLIMITED,
    &Ostrel::MemPoolBase::_bitLookup,
    &Ostrel::MimeInputStream::OUT_OF_MEMORY,
    &Ostrel::StaticModel::MINIMUM_BUFFER_SIZE,
    &Ostrel::TextGenerator::MAXIMUM_DEPTH,
    &PropertyMap::MAX_CHECKED_DEPTH,
    &json::JsonData::INVALID_FLOAT,
    &json::JsonData::INVALID_JSON_DATA,
    &json::JsonData::INVALID_STRING,
};

namespace {

struct StrictHandler : Ostrel::DataObjectSaxHandler
{
    bool parseError() override { return false; }
};

} // namespace

int main()
{
    StrictHandler handler;
    Ostrel::SAXParser parser{Ostrel::WeakPtr<Ostrel::SAXHandler>(handler)};
    parser.startDocument();
    try {
        parser.parse("<a/></b>", strlen("<a/></b>"));
        return 1;
    } catch (const Ostrel::XMLParser::ParseException&) {
    }
    const Ostrel::DataObject* const tree = handler.getRoot().get();
    return dynamic_cast<const Ostrel::DataObjectMap*>(tree) != nullptr ? 0 : 2;
}
