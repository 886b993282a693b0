// A source that gives less than it is asked for, an error, or claims more, as a script has it: all that it delivers
// reaches the parser. And documents that follow each other in a stream: each ends with its root, as expat has it.
#include "fuzz/ScriptedSource.h"
#include "fuzz/XmlJudge.h"
#include "ostrel/XmlStreamFilter.h"
#include "tests/support/PieceStream.h"

using Ostrel::XmlStreamFilter;

namespace {

/// Puts what it is given together.
class RecordingParser : public Ostrel::XMLParser
{
public:
    void startDocument() override { text += "("; }
    void parse(const char* data, unsigned int length) override { text.append(data, length); }
    void endDocument() override { text += ")"; }

    std::string text = "";
};

void checkDelivery(Choices& script, const std::string& text)
{
    ScriptedSource source(script, text);
    RecordingParser parser;
    XmlStreamFilter filter(source, parser);
    for (int i = 0; i < 2; ++i) {
        source.answers.clear();
        parser.text.clear();
        const int result = filter.start();
        require(parser.text == "(" + source.getDelivered() + ")");
        require(source.isAskedUpToEnd() && result == (source.hasFailed() ? -1 : 0));
    }
}

/// In UTF-16 the end is noticed late.
bool isUtf16(const std::string& text)
{
    return text.find('\0') != std::string::npos || text.compare(0, 2, "\xFF\xFE") == 0 ||
           text.compare(0, 2, "\xFE\xFF") == 0;
}

void checkDocuments(const std::string& text)
{
    PieceStream stream(text);
    XmlEventLog log;
    Ostrel::SAXParser parser(log);
    XmlStreamFilter filter(stream, parser, XmlStreamFilter::REFUSE_MALFORMED | XmlStreamFilter::STOP_AT_ROOT_END);
    for (std::string rest = text; !isUtf16(rest);) {
        XmlEventLog expected;
        const size_t end = XmlJudge(expected, rest.data(), rest.size(), rest.size()).rootEnd;
        log = XmlEventLog();
        const int result = filter.start();
        require((result == 0) == (end > 0));
        if (end == 0)
            return;
        expected = XmlEventLog();
        XmlJudge(expected, rest.data(), end, end);
        require(log.text == expected.text);
        rest.erase(0, end);
        require(stream.getRest() == rest);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    const std::string scriptBytes = choices.bytes(choices.below(64));
    const std::string text = choices.bytes(size);
    Choices script(reinterpret_cast<const uint8_t*>(scriptBytes.data()), scriptBytes.size());
    checkDelivery(script, text);
    checkDocuments(text);
    return 0;
}
