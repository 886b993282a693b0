// Arbitrary bytes in pieces, in one piece, and through expat without us in other pieces: the same events each time. How
// much of the text before a fault is delivered depends on the pieces, so text behind the last tag of a malformed
// document is left out.
#include <vector>

#include "fuzz/Judge.h"
#include "fuzz/XmlJudge.h"

namespace {

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

std::string getComparable(const XmlEventLog& log, bool isWellFormed)
{
    return log.text.substr(0, isWellFormed ? log.text.size() : log.tagEnd);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const char* const text = reinterpret_cast<const char*>(data + 1);
    XmlEventLog expected;
    const XmlJudge judge(expected, text, size - 1, size_t{1} + data[0] / 16);
    XmlEventLog log;
    Ostrel::SAXParser parser(log);
    // The second document also shows that the first has left nothing behind.
    for (const size_t pieceSize : {size, size_t{1} + data[0] % 16}) {
        parseInPieces(parser, text, size - 1, pieceSize);
        require(parser.isWellFormed() == judge.isWellFormed);
        require(getComparable(log, judge.isWellFormed) == getComparable(expected, judge.isWellFormed));
        log = XmlEventLog();
    }
    return 0;
}
