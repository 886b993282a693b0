// A document from memory and through a stream in awkward pieces gives the events, the code and the place of a mistake
// that a slow reader finds.
#include "fuzz/Judge.h"
#include "fuzz/SlowJsonReader.h"
#include "json/JsonParser.h"
#include "tests/support/JsonEventLog.h"
#include "tests/support/PieceStream.h"

namespace {

const size_t PIECE_COUNT = 3;

bool isSame(const json::JsonError& a, const json::JsonError& b)
{
    return a.reason == b.reason && a.offset == b.offset && a.line == b.line && a.column == b.column;
}

json::JsonError findPlace(json::JsonError error, const char* document, size_t length)
{
    if (error.reason == json::JsonError::NONE)
        return {};
    require(error.offset <= length);
    error.line = error.column = 1;
    for (size_t i = 0; i < error.offset; ++i) {
        error.column += (static_cast<unsigned char>(document[i]) & 0xC0) != 0x80;
        if (document[i] == '\n') {
            ++error.line;
            error.column = 1;
        }
    }
    return error;
}

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

    JsonEventLog log;
    const json::JsonError error =
        findPlace(SlowJsonReader(std::string(document, length), log).read(), document, length);
    const char* const errorText = SlowJsonReader::getErrorString(error);
    const std::string expected = log.text + (errorText == nullptr ? "" : std::string("!") + errorText);
    const auto isExpected = [&](const auto& parse) {
        return expected == observe([&](json::JsonParser& parser) {
                   const int result = parse(parser);
                   return isSame(parser.getError(), error) ? result : 1;
               });
    };
    PieceStream buffered(std::string(document, length), pieces);
    PieceStream unbuffered(std::string(document, length));
    require(isExpected([&](json::JsonParser& parser) { return parser.parse(document, length); }));
    require(isExpected([&](json::JsonParser& parser) { return parser.parse(&buffered); }));
    require(isExpected([&](json::JsonParser& parser) { return parser.parseUnbuffered(&unbuffered); }));
    return 0;
}
