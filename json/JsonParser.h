#pragma once

#include "json/JsonError.h"
#include "ostrel/Export.h"
#include "ostrel/InputStream.h"

namespace json {

class JsonReader;

/// Reads one JSON document (RFC 8259) and reports what it reads as events. It builds no tree; to grow one, or to let
/// several handlers share a document, use `JsonDeserializer`.
///
/// More is accepted than the standard allows: leading zeros, unknown escapes (they stand for themselves), control
/// bytes in strings, and bytes that are no UTF-8. Every `\u` escape is converted by itself, so that the halves of a
/// surrogate pair give three bytes each. Both ends of the 64-bit range count as out of range. Collections nest 15 deep.
/// Numbers with a fraction or an exponent are read with the decimal point of the locale (`LC_NUMERIC`): where that is a
/// comma, 2.5 arrives as 2.
///
///     struct Sum : json::JsonParser::EventHandler {
///         using EventHandler::onInteger;
///         void onInteger(json::JsonParser*, const char*, long long value) override { total += value; }
///         long long total = 0;
///     } sum;
///     json::JsonParser parser(&sum);
///     if (parser.parse("[1,2,3]") != 0)
///         printf("line %llu: %s\n", parser.getError().line, parser.getError().getText());
///
/// Units:     lengths are bytes; strings and numbers may have any length.
/// Ownership: handler and source stay the caller's. The text of a token takes no heap while key and value together
///            fit some 480 bytes; longer ones take one block that is freed at the end of the parse.
/// Errors:    every parse gives 0 or -1; `getErrorString()` has the kind of error, `getError()` reason and place.
///            Events sent before an error stay sent, and no end events follow them. Nothing is reported.
/// Threads:   one parser belongs to one thread at a time. An event may start another parse of the same parser.
class OSTREL_EXPORT JsonParser
{
public:
    /// Receives the events; override what matters. All defaults do nothing, except that 64-bit integers arrive
    /// through the `int` form as their low 32 bits. The parser itself always calls the 64-bit form.
    ///
    /// Each value comes with the parser that found it and with its key, which is null in an array and at the top.
    /// Keys and texts are borrowed for the call. A text may hold NUL bytes of its own, written as `\u0000` or raw.
    class OSTREL_EXPORT EventHandler
    {
    public:
        virtual ~EventHandler();

        /// All tell one value, or the beginning or end of a collection.
        virtual void onInteger(JsonParser* parser, const char* key, int value);
        virtual void onInteger(JsonParser* parser, const char* key, long long value);
        virtual void onDouble(JsonParser* parser, const char* key, double value);
        virtual void onString(JsonParser* parser, const char* key, const char* value);
        virtual void onBoolean(JsonParser* parser, const char* key, bool value);
        virtual void onNull(JsonParser* parser, const char* key);
        virtual void arrayStart(JsonParser* parser, const char* key);
        virtual void arrayEnd(JsonParser* parser);
        virtual void objectStart(JsonParser* parser, const char* key);
        virtual void objectEnd(JsonParser* parser);
    };

    /// Without a handler the document is only checked.
    explicit JsonParser(EventHandler* handler = nullptr);
    JsonParser(const JsonParser&) = delete;
    JsonParser& operator=(const JsonParser&) = delete;

    /// Asks `input` for one byte at a time and for none behind the byte that ended the parse: for sources that hold
    /// more than the document.
    int parseUnbuffered(Ostrel::InputStream* input);

    /// Asks `input` for 65,536 bytes at a time and keeps that many on the stack. An `input` that fails has ended; one
    /// that claims more than it was asked for has delivered what it was asked for. So too above.
    int parse(Ostrel::InputStream* input);

    /// A text in memory.
    int parse(const char* data, unsigned int length);
    int parse(const char* text); ///< NUL-terminated.

    /// Reads what `fd` has now: a pipe that is empty for a moment has ended. `fd` stays open but non-blocking, as does
    /// every copy of it; the parse reads a copy that programs started meanwhile do not inherit. The second argument is
    /// ignored. A descriptor that cannot be read has no data.
    int parse(int fd, unsigned int ignored);

    /// Why the last parse failed; null when it did not. The texts: "Invalid json data", "Invalid data source" (a null
    /// one), "Max json data depth exceeded", "Excess data after json".
    const char* getErrorString() const;

    /// Why exactly, and where. The place costs nothing until then in memory; a stream's lines and characters are
    /// counted as each window is left.
    JsonError getError() const { return _details; }

private:
    OSTREL_LOCAL int refuseSource();
    OSTREL_LOCAL int read(JsonReader&& reader);

    int _error;
    EventHandler _defaultHandler;
    EventHandler* _handler;
    JsonError _details;
};

} // namespace json
