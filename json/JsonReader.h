#pragma once

#include <cstddef>
#include <cstdlib>

#include "json/JsonParser.h"

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

/// The text of the current key and value: on the stack until a token outgrows it, then on the heap; it never shrinks.
///
/// Units:     bytes.
/// Ownership: owns its block; pointers into it die with `grow`.
/// Errors:    `grow` is false when memory is exhausted, and what there was stays.
/// Threads:   belongs to one parse.
class JsonScratch
{
public:
    JsonScratch() : _data(_initial), _capacity(sizeof(_initial)) {}
    ~JsonScratch()
    {
        if (_data != _initial)
            free(_data);
    }
    JsonScratch(const JsonScratch&) = delete;
    JsonScratch& operator=(const JsonScratch&) = delete;

    bool grow();
    char* getData() { return _data; }
    size_t getCapacity() const { return _capacity; }

private:
    char* _data;
    size_t _capacity;
    char _initial[512];
};

/// One parse: a recursive descent over a window of bytes that is refilled from a stream, or over the caller's bytes.
/// All state of the parse is here, so that an event may start another one. Private to `JsonParser`.
///
/// A byte is consumed by stepping over it, and a refill happens only when the next byte is needed: behind the byte
/// that fails the parse nothing is read.
///
/// Units:     bytes. The size of a key includes its terminator; 0 says that there is no key.
/// Ownership: everything given to the constructors is borrowed for the life of the reader.
/// Errors:    each step is false when the parse has failed.
/// Threads:   belongs to one parse.
class JsonReader
{
public:
    JsonReader(JsonParser* parser, JsonParser::EventHandler* handler, const char* data, size_t length);

    /// Reads `input` through `window`, which the reader may write to.
    JsonReader(JsonParser* parser, JsonParser::EventHandler* handler, Ostrel::InputStream* input, char* window,
               unsigned int windowSize);

    int read(); ///< The whole document; a `JsonErrorCode`.

private:
    enum { MAX_DEPTH = 15, END_OF_DATA = -1 };

    bool hasByte() { return _cur != _end || refill(); }
    bool refill();
    int nextByte();
    int skipBlanks();

    bool readValue(size_t keySize);
    bool readObject(size_t keySize);
    bool readMember();
    bool readArray(size_t keySize);
    bool readString(size_t keySize);
    bool readNumber(size_t keySize);
    bool readLiteral(const char* literal, size_t length);

    bool open();
    const char* terminateInWindow();
    size_t readText(size_t offset);
    bool readEscape(char*& out);
    bool readCodePoint(unsigned int& codePoint);
    size_t collectNumber(size_t offset);
    bool collectDigits(size_t& used);
    bool collectByte(size_t& used);
    bool copyToken(size_t offset, const char* token, size_t length);
    const char* getKey(size_t keySize) { return keySize == 0 ? nullptr : _scratch.getData(); }

    const char* _cur;
    const char* _end;
    Ostrel::InputStream* _input; ///< Null over memory, and once the stream has ended.
    char* _window;               ///< Null over memory, which is not ours to write to.
    unsigned int _windowSize;
    unsigned int _depth = 0;
    bool _isPointDot; ///< Whether the C library reads numbers as JSON writes them.
    JsonParser* _parser;
    JsonParser::EventHandler* _handler;
    JsonScratch _scratch; ///< The key, and behind it the text of its value.
};

} // namespace json
