#include "json/JsonParser.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "json/internal/JsonReader.h"
#include "ostrel/FileInputStream.h"
#include "ostrel/internal/Narrowing.h"

namespace json {

JsonParser::EventHandler::~EventHandler() = default;

void JsonParser::EventHandler::onInteger(JsonParser*, const char*, int) {}

void JsonParser::EventHandler::onInteger(JsonParser* parser, const char* key, long long value)
{
    onInteger(parser, key, Ostrel::toLow32Bits(value));
}

void JsonParser::EventHandler::onDouble(JsonParser*, const char*, double) {}

void JsonParser::EventHandler::onString(JsonParser*, const char*, const char*) {}

void JsonParser::EventHandler::onBoolean(JsonParser*, const char*, bool) {}

void JsonParser::EventHandler::onNull(JsonParser*, const char*) {}

void JsonParser::EventHandler::arrayStart(JsonParser*, const char*) {}

void JsonParser::EventHandler::arrayEnd(JsonParser*) {}

void JsonParser::EventHandler::objectStart(JsonParser*, const char*) {}

void JsonParser::EventHandler::objectEnd(JsonParser*) {}

JsonParser::JsonParser(EventHandler* handler)
    : _error(JSON_OK), _handler(handler != nullptr ? handler : &_defaultHandler)
{}

int JsonParser::parseUnbuffered(Ostrel::InputStream* input)
{
    if (input == nullptr)
        return refuseSource();
    char window[1];
    return read(JsonReader(this, _handler, input, window, sizeof(window)));
}

int JsonParser::parse(Ostrel::InputStream* input)
{
    if (input == nullptr)
        return refuseSource();
    char window[65536]; // not initialised: a small document would pay for all of it
    return read(JsonReader(this, _handler, input, window, sizeof(window)));
}

int JsonParser::parse(const char* data, unsigned int length)
{
    if (data == nullptr)
        return refuseSource();
    return read(JsonReader(this, _handler, data, length));
}

int JsonParser::parse(const char* text)
{
    if (text == nullptr)
        return refuseSource();
    return parse(text, static_cast<unsigned int>(strlen(text)));
}

int JsonParser::parse(int fd, unsigned int)
{
    const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    FILE* file = fdopen(copy, "r");
    if (file == nullptr && copy >= 0)
        close(copy);
    Ostrel::FileInputStream input(file, true);
    input.setNonBlocking();
    return parse(&input);
}

const char* JsonParser::getErrorString() const
{
    switch (_error) {
    case JSON_INVALID_DATA:
        return "Invalid json data";
    case JSON_INVALID_SOURCE:
        return "Invalid data source";
    case JSON_DEPTH_EXCEEDED:
        return "Max json data depth exceeded";
    case JSON_SCALAR_TOO_LONG:
        return "Max scalar length exceeded";
    case JSON_EXCESS_DATA:
        return "Excess data after json";
    case JSON_OUT_OF_MEMORY:
        return "Out of memory";
    default:
        return nullptr;
    }
}

int JsonParser::refuseSource()
{
    _error = JSON_INVALID_SOURCE;
    _details = JsonError();
    _details.reason = JsonError::NO_SOURCE;
    return -1;
}

/// The outcome is stored only at the very end: a parse nested in an event leaves its own behind before.
int JsonParser::read(JsonReader&& reader)
{
    _error = reader.read();
    _details = reader.getError();
    return _error == JSON_OK ? 0 : -1;
}

} // namespace json
