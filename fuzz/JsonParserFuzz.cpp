// The same document from memory and through a stream in awkward pieces must give the same events and the same code.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "json/JsonParser.h"
#include "tests/support/JsonEventLog.h"
#include "tests/support/PieceStream.h"

namespace {

const size_t PIECE_COUNT = 3;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < PIECE_COUNT)
        return 0;
    std::vector<unsigned int> pieces;
    for (size_t i = 0; i < PIECE_COUNT; ++i)
        pieces.push_back(data[i] % 40 + 1U);
    // The fuzzer's block ends where the document ends, so a step too far is seen.
    const char* const document = reinterpret_cast<const char*>(data) + PIECE_COUNT;
    const unsigned int length = static_cast<unsigned int>(size - PIECE_COUNT);

    const std::string expected = observe([&](json::JsonParser& parser) { return parser.parse(document, length); });
    PieceStream buffered(std::string(document, length), pieces);
    PieceStream unbuffered(std::string(document, length));
    if (observe([&](json::JsonParser& parser) { return parser.parse(&buffered); }) != expected ||
        observe([&](json::JsonParser& parser) { return parser.parseUnbuffered(&unbuffered); }) != expected)
        abort();
    return 0;
}
