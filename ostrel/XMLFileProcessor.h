#pragma once

#include <fstream>
#include <string>

#include "ostrel/Export.h"
#include "ostrel/SharedPtr.h"
#include "ostrel/XMLParser.h"

namespace Ostrel {

/// Pushes a file through an `XMLParser`, as one document.
///
/// For other sources use `XmlStreamFilter`.
///
///     DataObjectSaxHandler handler;
///     SharedPtr<SAXParser> parser(new (std::nothrow) SAXParser(handler));
///     XMLFileProcessor("settings.xml", parser).start();
///     if (!parser || !parser->isWellFormed())
///         puts("no document, or not a whole one");
///
/// Units:     the file is read in blocks of 1024 bytes.
/// Ownership: the parser is shared; the file stays open until the processor dies.
/// Errors:    a file that cannot be opened, be it for lack of memory, is a recoverable report "bool(m_input)", and
///            `start` then does nothing. A failure while reading looks like the end of the file. A missing parser is a
///            fatal report "m_ptr" at each call that it misses.
class OSTREL_EXPORT XMLFileProcessor
{
public:
    XMLFileProcessor(const std::string& fileName, const SharedPtr<XMLParser>& parser);
    ~XMLFileProcessor();
    XMLFileProcessor(const XMLFileProcessor&) = delete;
    XMLFileProcessor& operator=(const XMLFileProcessor&) = delete;

    /// What the parser throws passes through. The document is then not ended, which `endDocument` of the parser makes
    /// up for. Once the end of the file was read, further calls do nothing; before, when the parser has thrown, they go
    /// on behind the block that it was given last, as a document of its own.
    void start();

private:
    SharedPtr<XMLParser> _parser;
    std::ifstream m_input;
};

} // namespace Ostrel
