// A document in pieces must give the same tree as the whole, which calls build for what expat takes for a document, and
// a good one must come out after any other.
#include <vector>

#include "fuzz/Judge.h"
#include "fuzz/XmlJudge.h"
#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/ErrorServer.h"
#include "tests/support/LogBuilder.h"

using namespace Ostrel;

namespace {

const size_t PIECE_COUNT = 3;

/// Builds the tree by calls.
class TreeModel : public SAXHandler
{
public:
    void startElement(const std::string& name, const std::map<std::string, std::string>& attributes) override
    {
        if (_open.size() > MOST_OPEN)
            return;
        if (_open.empty()) { // at the beginning, or when the ends of refused elements have ended all others
            root = AutoPtr<DataObject>(new DataObjectMap);
            _open.push_back(root.get());
        }
        AutoPtr<DataObject> element(new DataObjectMap);
        DataObject* const parent = _open.back();
        _open.push_back(element.get());
        for (const auto& [key, value] : attributes)
            element->set(key.c_str(), DataObject::createString(value.c_str()));
        parent->set(name.c_str(), std::move(element));
    }
    void endElement(const std::string&) override
    {
        if (_open.empty())
            return;
        const char* const blanks = " \t\n\v\f\r";
        _text.erase(0, std::min(_text.find_first_not_of(blanks), _text.size()));
        _text.erase(_text.find_last_not_of(blanks) + 1);
        if (!_text.empty())
            _open.back()->set("cdata", DataObject::createString(_text.c_str()));
        _text.clear();
        _open.pop_back();
    }
    void charData(const std::string& piece) override { _text += piece; }
    void finished() override {}
    bool parseError() override { return true; }

    AutoPtr<DataObject> root;

private:
    static constexpr size_t MOST_OPEN = 15;

    std::vector<DataObject*> _open; ///< The root below them.
    std::string _text;
};

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
    return describe(handler.getRoot().get());
}

std::string checkAndReadTree(const std::string& document, const unsigned int (&sizes)[PIECE_COUNT])
{
    DataObjectSaxHandler handler;
    SAXParser parser(handler);
    const std::string tree = readTree(parser, handler, document, sizes);
    // The inner element takes the text that a broken document has left, which depends on the pieces.
    readTree(parser, handler, "<good a='1'><b/>text</good>", sizes);
    const DataObject& good = handler.getRoot()->get("good");
    require(good.get("a").toString("") == std::string("1") && good.get("cdata").toString("") == std::string("text"));
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
    if (isCut)
        return 0;
    require(pieces == whole);
    TreeModel model;
    if (XmlJudge(model, document.data(), document.size(), document.size() + 1).isWellFormed)
        require(describe(model.root.get()) == whole);
    return 0;
}
