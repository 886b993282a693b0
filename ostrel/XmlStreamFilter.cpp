#include "ostrel/XmlStreamFilter.h"

#include <algorithm>

namespace Ostrel {

namespace {

const unsigned int BLOCK_SIZE = 4096;

/// The count delivered; 0 at the end; -1 on a failure, be it one that looks like the end.
int readBlock(InputStream& stream, unsigned char* block)
{
    int count = stream.read(block, BLOCK_SIZE);
    // An interrupted wait or a descriptor that had nothing for a moment may leave its error behind at the end, too.
    if (count == 0 && stream.getErrorString() != nullptr) {
        count = stream.read(block, BLOCK_SIZE);
        if (count == 0 && stream.getErrorString() != nullptr)
            return -1;
    }
    // A stream that claims more than it was asked for must not lead us behind the block.
    return std::min(count, static_cast<int>(BLOCK_SIZE));
}

} // namespace

XmlStreamFilter::XmlStreamFilter(WeakPtr<InputStream> stream, WeakPtr<XMLParser> parser)
    : _stream(stream), _parser(parser)
{}

int XmlStreamFilter::start()
{
    InputStream* const stream = _stream.require();
    XMLParser* const parser = _parser.require();
    if (stream == nullptr || parser == nullptr)
        return -1;

    parser->startDocument();
    unsigned char block[BLOCK_SIZE];
    int count = readBlock(*stream, block);
    for (; count > 0; count = readBlock(*stream, block))
        parser->parse(reinterpret_cast<const char*>(block), static_cast<unsigned int>(count));
    parser->endDocument();
    return count < 0 ? -1 : 0;
}

} // namespace Ostrel
