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

} // namespace

ExitStatus runXml(const Options&)
{
    XmlEventPrinter p;
    return EXIT_REFUSED;
}
} // namespace Inspect
