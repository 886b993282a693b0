#pragma once

#include <fstream>
#include <string>

#include "ostrel/Export.h"
#include "ostrel/SAXParser.h"
#include "ostrel/SharedPtr.h"

namespace Ostrel {

/// Pushes a file through an `XMLParser`, as one document.
///
/// For other sources use `XmlStreamFilter`.
///
///     SharedPtr<XMLParser> parser(new (std::nothrow) SAXParser(handler));
///     XMLFileProcessor("settings.xml", parser).start();
///
/// Units:     the file is read in blocks of 1024 bytes.
/// Ownership: the parser is shared; the file stays open until the processor dies.
/// Errors:    a file that cannot be opened is a recoverable report "bool(m_input)", and `start` then does nothing. A
///            failure while reading looks like the end of the file. A missing parser is a fatal report "m_ptr" at each
///            call that it misses.
/// Threads:   one processor belongs to one thread at a time.
class OSTREL_EXPORT XMLFileProcessor
{
public:
    XMLFileProcessor(const std::string& fileName, const SharedPtr<XMLParser>& parser);
    ~XMLFileProcessor();
    XMLFileProcessor(const XMLFileProcessor&) = delete;
    XMLFileProcessor& operator=(const XMLFileProcessor&) = delete;

    /// Once only: afterwards the file is used up, and further calls do nothing. What `parse` throws passes through; the
    /// document is then not ended, which `endDocument` of the parser makes up for.
    void start();

private:
    SharedPtr<XMLParser> m_parser;
    std::ifstream m_input;
};

} // namespace Ostrel
