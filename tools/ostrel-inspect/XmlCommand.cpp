#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/SAXParser.h"
#include "tools/ostrel-inspect/Commands.h"
#include "tools/ostrel-inspect/Output.h"
#include "tools/ostrel-inspect/Source.h"
#include "tools/ostrel-inspect/Tree.h"

namespace Inspect {

namespace {

/// Checks alone: what is wrong with a document is asked afterwards.
class CheckingHandler : public Ostrel::SAXHandler
{
public:
    void startElement(const std::string&, const std::map<std::string, std::string>&) override {}
    void endElement(const std::string&) override {}
    void charData(const std::string&) override {}
    void finished() override {}
    bool parseError() override { return true; }
};

/// `startElement server port="8080"`, a line for each event.
class XmlEventPrinter : public CheckingHandler
{
public:
    void startElement(const std::string& name, const std::map<std::string, std::string>& attributes) override
    {
        appendText(_line = "startElement ", name, TextStyle::PLAIN);
        for (const auto& attribute : attributes) {
            appendText(_line += ' ', attribute.first, TextStyle::PLAIN);
            appendText(_line += '=', attribute.second, TextStyle::QUOTED);
        }
        print();
    }
    void endElement(const std::string& name) override
    {
        appendText(_line = "endElement ", name, TextStyle::PLAIN);
        print();
    }
    void charData(const std::string& text) override
    {
        appendText(_line = "charData ", text, TextStyle::QUOTED);
        print();
    }

private:
    void print() { flushTo(stdout, _line += '\n'); }

    std::string _line;
};

/// Feeds the parser up to the end or the first mistake, which is told.
ExitStatus parse(Source& source, Ostrel::SAXHandler& handler)
{
    Ostrel::SAXParser parser(handler);
    parser.startDocument();
    unsigned char block[65536];
    for (int count = 0; parser.getError().code == 0 && (count = source.read(block, sizeof(block))) > 0;)
        parser.parse(reinterpret_cast<const char*>(block), static_cast<unsigned int>(count));
    parser.endDocument();
    const Ostrel::SAXParser::Error error = parser.getError();
    if (source.complainIfFailed())
        return EXIT_REFUSED;
    if (parser.isWellFormed())
        return EXIT_GOOD;
    source.complainInLine(static_cast<uint64_t>(error.offset), {error.line, error.column}, error.text);
    return EXIT_REFUSED;
}

ExitStatus printEvents(Source& source)
{
    source.setQuiet();
    XmlEventPrinter printer;
    return parse(source, printer);
}

ExitStatus printTree(Source& source)
{
    keepReports();
    Ostrel::DataObjectSaxHandler handler;
    const ExitStatus status = parse(source, handler);
    return status == EXIT_GOOD ? writeTree(source.getName(), *handler.getRoot()) : status;
}

} // namespace

ExitStatus runXml(const Options& options)
{
    Source source(options.files[0]);
    if (options.mode == Mode::JSON)
        return printTree(source);
    if (options.mode == Mode::EVENTS)
        return printEvents(source);
    CheckingHandler handler;
    return parse(source, handler);
}

} // namespace Inspect
