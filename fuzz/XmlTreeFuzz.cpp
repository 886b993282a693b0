// A document in pieces must give the same tree as the whole, and a good one must come out after any other.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/ErrorServer.h"
#include "tests/support/LogBuilder.h"

using namespace Ostrel;

namespace {

const size_t PIECE_COUNT = 3;

/// Text over its limit is cut where a piece ends.
class CutNoticer : public ErrorServer::DefaultPolicy
{
public:
    explicit CutNoticer(bool& isCut) : _isCut(isCut) { isCut = false; }
    void fatal(const char*) override { _isCut = true; }

private:
    bool& _isCut;
};

/// Feeds the document in pieces of these sizes in turn.
std::string readTree(SAXParser& parser, const DataObjectSaxHandler& handler, const std::string& document,
                     const unsigned int (&sizes)[PIECE_COUNT])
{
    parser.startDocument();
    size_t offset = 0;
    for (size_t i = 0; offset < document.size(); ++i) {
        const std::string piece = document.substr(offset, sizes[i % PIECE_COUNT]);
        parser.parse(piece.data(), static_cast<unsigned int>(piece.size()));
        offset += piece.size();
    }
    parser.endDocument();
    LogBuilder builder;
    if (handler.getRoot())
        handler.getRoot()->serialize(builder);
    return builder.text;
}

std::string checkAndReadTree(const std::string& document, const unsigned int (&sizes)[PIECE_COUNT])
{
    DataObjectSaxHandler handler;
    SAXParser parser(handler);
    const std::string tree = readTree(parser, handler, document, sizes);
    // The inner element takes the text that a broken document has left, which depends on the pieces.
    readTree(parser, handler, "<good a='1'><b/>text</good>", sizes);
    const DataObject& good = handler.getRoot()->get("good");
    if (good.get("a").toString("") != std::string("1") || good.get("cdata").toString("") != std::string("text"))
        abort();
    return tree;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < PIECE_COUNT)
        return 0;
    bool isCut = false;
    Singleton<ErrorServer>::getInstance()->setPolicy(AutoPtr<ErrorPolicy>(new CutNoticer(isCut)));
    const std::string document(reinterpret_cast<const char*>(data) + PIECE_COUNT, size - PIECE_COUNT);
    const std::string whole = checkAndReadTree(document, {1U << 16, 1U << 16, 1U << 16});
    const std::string pieces = checkAndReadTree(document, {data[0] % 40U + 1, data[1] % 40U + 1, data[2] % 40U + 1});
    if (pieces != whole && !isCut)
        abort();
    return 0;
}
