#include "ostrel/XMLFileProcessor.h"

#include <new>

#include "ostrel/Report.h"
#include "ostrel/internal/CancellationPause.h"

namespace Ostrel {

namespace {

constexpr int LINE_OPEN = 20;

const std::streamsize BLOCK_SIZE = 1024;

} // namespace

XMLFileProcessor::XMLFileProcessor(const std::string& fileName, const SharedPtr<XMLParser>& parser) : _parser(parser)
{
    try {
        m_input.open(fileName);
    } catch (const std::bad_alloc&) { // for the buffer; the file may be open then
        m_input.setstate(std::ios::badbit);
    }
    OSTREL_CHECK_AT(RECOVERABLE, LINE_OPEN, "bool(m_input)", bool(m_input));
}

XMLFileProcessor::~XMLFileProcessor()
{
    const CancellationPause pause;
    m_input.close();
}

void XMLFileProcessor::start()
{
    if (!m_input)
        return;

    if (XMLParser* const parser = _parser.require())
        parser->startDocument();
    std::streamsize count;
    do {
        char block[BLOCK_SIZE];
        count = m_input.read(block, BLOCK_SIZE).gcount();
        // An empty last piece is passed on too: see docs/compatibility.md.
        if (XMLParser* const parser = _parser.require())
            parser->parse(block, static_cast<unsigned int>(count));
    } while (count == BLOCK_SIZE);
    if (XMLParser* const parser = _parser.require())
        parser->endDocument();
}

} // namespace Ostrel
