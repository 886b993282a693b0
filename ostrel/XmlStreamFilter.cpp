#include "ostrel/XmlStreamFilter.h"

#include <algorithm>

namespace Ostrel {

namespace {

const unsigned int BLOCK_SIZE = 4096;

struct Piece
{
    int count; ///< Of bytes; 0 or less at the end.
    bool isFailure;
};

Piece readPiece(InputStream& stream, unsigned char* block)
{
    const int count = stream.read(block, BLOCK_SIZE);
    // The stream is asked before anything else is done with it: another read would forget the error.
    const bool isCutShort = count < static_cast<int>(BLOCK_SIZE) && stream.getErrorString() != nullptr;
    // A stream that claims more than it was asked for must not lead us behind the block.
    return {std::min(count, static_cast<int>(BLOCK_SIZE)), count < 0 || isCutShort};
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
    Piece piece;
    do {
        piece = readPiece(*stream, block);
        if (piece.count > 0)
            parser->parse(reinterpret_cast<const char*>(block), static_cast<unsigned int>(piece.count));
    } while (piece.count > 0 && !piece.isFailure);
    parser->endDocument();
    return piece.isFailure ? -1 : 0;
}

} // namespace Ostrel
