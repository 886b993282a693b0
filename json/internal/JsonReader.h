/// Not installed: internal to the library.
#pragma once

#include <cstddef>

#include "json/JsonParser.h"
#include "json/internal/JsonPlace.h"
#include "json/internal/JsonScratch.h"

namespace json {

/// What `JsonParser` keeps of a parse. No parse sets two of them: texts may have any length, and memory that cannot
/// be had makes the data invalid.
enum JsonErrorCode {
    JSON_OK = 0,
    JSON_INVALID_DATA = 1,
    JSON_INVALID_SOURCE = 2,
    JSON_DEPTH_EXCEEDED = 3,
    JSON_SCALAR_TOO_LONG = 4,
    JSON_EXCESS_DATA = 5,
    JSON_OUT_OF_MEMORY = 6
};

/// One parse: a recursive descent over a window of bytes that is refilled from a stream, or over the caller's bytes.
/// All state of the parse is here, so that an event may start another one.
///
/// The steps take the position to go on from and return the position behind what they read, or null when the parse
/// has failed; that keeps it in a register all the way. Where `at` is given, a byte is there. A refill happens only
/// when its first byte is needed: behind the byte that fails the parse nothing is read. A step that fails by itself
/// notes why and where with `fail`; the others only pass the null on.
///
/// Units:     bytes. The size of a key includes its terminator; 0 says that there is no key.
/// Ownership: everything given to the constructors is borrowed for the life of the reader.
/// Errors:    null positions, and `getError`.
/// Threads:   belongs to one parse.
class JsonReader
{
public:
    JsonReader(JsonParser* parser, JsonParser::EventHandler* handler, const char* data, size_t length);

    /// Reads `input` through `window`, which the reader may write to.
    JsonReader(JsonParser* parser, JsonParser::EventHandler* handler, Ostrel::InputStream* input, char* window,
               unsigned int windowSize);

    int read(); ///< The whole document; a `JsonErrorCode`.
    const JsonError& getError() const { return _error; }

private:
    enum { MAX_DEPTH = 15 };
    enum Collection { OBJECT, ARRAY };

    const char* ensureByte(const char* cur) { return cur != _end ? cur : refill(); }
    const char* refill();
    [[gnu::cold, gnu::noinline]] const char* fail(const char* at, JsonError::Reason reason,
                                                  JsonError::Reason atEnd = JsonError::NONE);
    const char* failAtEnd(JsonError::Reason atEnd) { return fail(nullptr, JsonError::NONE, atEnd); }
    [[gnu::cold, gnu::noinline]] const char* failLiteral(const char* at, const char* literal);
    [[gnu::cold, gnu::noinline]] const char* failNumber(const char* at, const char* token, size_t length,
                                                        const char* behind, size_t keySize);
    const char* findToken(const char* cur);
    const char* skipBlanks(const char* cur);
    const char* skipBlanksByWords(const char* cur);
    const char* expect(const char* cur, char wanted, JsonError::Reason reason, JsonError::Reason atEnd);

    const char* readValue(const char* at, size_t keySize);
    template <Collection KIND>
    const char* readCollection(const char* at, size_t keySize);
    template <Collection KIND>
    const char* readElements(const char* cur);
    const char* readMember(const char* at);
    const char* readString(const char* at, size_t keySize);
    const char* readNumber(const char* at, size_t keySize);
    const char* readLiteral(const char* at, const char* literal, size_t length);

    const char* findPlainEnd(const char* cur) const;
    const char* readText(const char* text, size_t offset, size_t& behind);
    const char* readLongText(const char* cur, size_t offset, size_t& behind);
    const char* copyPlain(const char* cur, char*& out);
    const char* readEscape(const char* cur, char*& out);
    const char* readCodePoint(const char* cur, unsigned int& codePoint);
    const char* collectNumber(const char* at, size_t offset, size_t& length);
    const char* getKey(size_t keySize) { return keySize == 0 ? nullptr : _scratch.getData(); }

    JsonParser* _parser;
    JsonParser::EventHandler* _handler;
    const char* _end;            ///< Of the bytes that are there.
    const char* _start;          ///< Of the bytes that are there.
    Ostrel::InputStream* _input; ///< Null over memory, and once the stream has ended.
    char* _window;               ///< Null over memory, which is not ours to write to.
    unsigned int _windowSize;
    unsigned int _depth = 0;
    bool _isPointDot; ///< Whether the C library reads numbers as JSON writes them.
    bool _hasSourceFailed = false;
    JsonScratch _scratch;  ///< The key, and behind it the text of its value.
    JsonPlace _startPlace; ///< Of the first byte that is there.
    JsonError _error;
};

} // namespace json
