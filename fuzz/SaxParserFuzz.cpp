// Arbitrary bytes in pieces, in one piece, and through expat without us in other pieces: the same events each time. How
// much of the text before a fault is delivered depends on the pieces, so text behind the last tag of a malformed
// document is left out.
#include <expat.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "ostrel/SAXParser.h"

namespace {

/// Writes the events down.
class EventLog : public Ostrel::SAXHandler
{
public:
    void startElement(const std::string& name, const std::map<std::string, std::string>& attributes) override
    {
        text += "<" + name;
        for (const auto& attribute : attributes)
            text += "\n " + attribute.first + "=" + attribute.second;
        text += ">";
        _tagEnd = text.size();
    }
    void endElement(const std::string& name) override
    {
        text += "</" + name + ">";
        _tagEnd = text.size();
    }
    void charData(const std::string& piece) override { text += piece; }
    void finished() override { text += "."; }
    bool parseError() override { return true; }

    std::string take(bool isMalformed)
    {
        const std::string taken = text.substr(0, isMalformed ? _tagEnd : text.size());
        *this = EventLog();
        return taken;
    }

    std::string text; ///< Pieces of one text stand together.

private:
    size_t _tagEnd = 0;
};

void startElement(void* log, const char* name, const char** attributes)
{
    std::map<std::string, std::string> map;
    for (; *attributes != nullptr; attributes += 2)
        map.emplace(attributes[0], attributes[1]);
    static_cast<EventLog*>(log)->startElement(name, map);
}

void endElement(void* log, const char* name)
{
    static_cast<EventLog*>(log)->endElement(name);
}

void charData(void* log, const char* text, int length)
{
    static_cast<EventLog*>(log)->charData(std::string(text, static_cast<size_t>(length)));
}

bool parsePlainly(EventLog& log, const char* data, size_t size, size_t pieceSize)
{
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, &log);
    XML_SetElementHandler(parser, startElement, endElement);
    XML_SetCharacterDataHandler(parser, charData);
    bool isWellFormed = true;
    for (size_t count; isWellFormed && size > 0; data += count, size -= count) {
        count = std::min(size, pieceSize);
        isWellFormed = XML_Parse(parser, data, static_cast<int>(count), 0) == XML_STATUS_OK;
    }
    isWellFormed = isWellFormed && XML_Parse(parser, nullptr, 0, 1) == XML_STATUS_OK;
    XML_ParserFree(parser);
    log.finished();
    return isWellFormed;
}

void parseInPieces(Ostrel::SAXParser& parser, const char* data, size_t size, size_t pieceSize)
{
    parser.startDocument();
    for (size_t count; size > 0; data += count, size -= count) {
        count = std::min(size, pieceSize);
        const std::vector<char> piece(data, data + count); // reading behind its end is noticed
        parser.parse(piece.data(), static_cast<unsigned int>(count));
    }
    parser.endDocument();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const char* const text = reinterpret_cast<const char*>(data + 1);
    EventLog log;
    const bool isMalformed = !parsePlainly(log, text, size - 1, size_t{1} + data[0] / 16);
    const std::string expected = log.take(isMalformed);
    Ostrel::SAXParser parser(log);
    // The second document also shows that the first has left nothing behind.
    for (const size_t pieceSize : {size, size_t{1} + data[0] % 16}) {
        parseInPieces(parser, text, size - 1, pieceSize);
        if (log.take(isMalformed) != expected)
            abort();
    }
    return 0;
}
