#include "ostrel/XmlStreamFilter.h"

#include <algorithm>
#include <cstring>

#include "ostrel/SAXParser.h"
#include "ostrel/XmlSegment.h"

namespace Ostrel {

namespace {

const unsigned int BLOCK_SIZE = 4096;
const unsigned int LONGEST_MARKUP = 16384; // that is given whole

struct Piece
{
    int count; ///< Of bytes; 0 or less at the end.
    bool isFailure;
    bool isLast;
};

/// What a read that gave `count` of `size` bytes says.
Piece judge(const InputStream& stream, int count, unsigned int size)
{
    const int wanted = static_cast<int>(size);
    // The stream is asked before anything else is done with it: another read would forget the error.
    const bool isCutShort = count < wanted && stream.getErrorString() != nullptr;
    const bool isFailure = count < 0 || isCutShort;
    // A stream that claims more than it was asked for must not lead us behind the block.
    return {std::min(count, wanted), isFailure, isFailure || count == 0};
}

class BlockReader
{
public:
    Piece read(InputStream& stream) { return judge(stream, stream.read(_block, BLOCK_SIZE), BLOCK_SIZE); }
    const unsigned char* getData() const { return _block; }

private:
    unsigned char _block[BLOCK_SIZE];
};

/// Whether the stream failed. Out of line, so that the larger reader takes stack only where it is used.
template <class Reader, class HasEnded>
__attribute__((noinline)) bool feed(InputStream& stream, XMLParser& parser, const HasEnded& hasEnded)
{
    Reader reader;
    for (;;) {
        const Piece piece = reader.read(stream);
        if (piece.count > 0)
            parser.parse(reinterpret_cast<const char*>(reader.getData()), static_cast<unsigned int>(piece.count));
        if (piece.isLast || hasEnded())
            return piece.isFailure;
    }
}

} // namespace

/// Reads byte by byte up to where an element ends. Markup is given whole: expat waits for much more of what it was
/// given in part.
class OSTREL_LOCAL XmlStreamFilter::TagReader
{
public:
    Piece read(InputStream& stream)
    {
        memmove(_block, _block + _given, _count - _given);
        _count -= _given;
        _markup = 0; // what was kept begins with it
        while (_count < LONGEST_MARKUP) {
            const Piece byte = judge(stream, stream.read(_block + _count, 1), 1);
            if (byte.isLast)
                return give(_count, byte);
            if (isWorthParsing(_block[_count++]))
                return give(_count, byte);
        }
        return give(_markup != 0 ? _markup : _count, {0, false, false});
    }

    const unsigned char* getData() const { return _block; }

private:
    using Scanner = XmlSegment::Scanner;

    bool isWorthParsing(unsigned char last)
    {
        // Inside a start tag, quoted or not, it is a mistake; without this the quote that is missing would be waited
        // for.
        const bool isMistake = last == '<' && _scanner.mayOpen();
        const char byte = static_cast<char>(last);
        Scanner::Event event = Scanner::NOTHING;
        for (const char* position = &byte; position == &byte;) {
            event = _scanner.scan(position, &byte + 1);
            if (event == Scanner::MARKUP)
                _markup = _count - 1;
        }
        return isMistake || event == Scanner::EMPTY_TAG || event == Scanner::END_TAG;
    }

    Piece give(unsigned int count, const Piece& last)
    {
        _given = count;
        return {static_cast<int>(count), last.isFailure, last.isLast};
    }

    unsigned char _block[LONGEST_MARKUP];
    unsigned int _count = 0;
    unsigned int _given = 0;  ///< Of them, at the last call.
    unsigned int _markup = 0; ///< Where the last one begins, if at all.
    Scanner _scanner{nullptr};
};

XmlStreamFilter::XmlStreamFilter(WeakPtr<InputStream> stream, WeakPtr<XMLParser> parser)
    : _stream(stream), _parser(parser), _options(0)
{}

XmlStreamFilter::XmlStreamFilter(WeakPtr<InputStream> stream, WeakPtr<SAXParser> parser, unsigned int options)
    : _stream(stream), _parser(parser), _saxParser(parser), _options(options)
{}

int XmlStreamFilter::start()
{
    InputStream* const stream = _stream.require();
    XMLParser* const parser = _parser.require();
    if (stream == nullptr || parser == nullptr)
        return -1;

    const SAXParser* const saxParser = _saxParser.get();
    parser->startDocument();
    const bool isFailure =
        (_options & STOP_AT_ROOT_END) != 0
            ? feed<TagReader>(*stream, *parser,
                              [=] { return saxParser->hasRootEnded() || saxParser->getError().code != 0; })
            : feed<BlockReader>(*stream, *parser, [] { return false; });
    parser->endDocument();
    const bool isRefused = (_options & REFUSE_MALFORMED) != 0 && !saxParser->isWellFormed();
    return isFailure || isRefused ? -1 : 0;
}

} // namespace Ostrel
