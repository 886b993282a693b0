#include <cctype>
#include <climits>
#include <cstring>

#include "json/JsonData.h"
#include "json/JsonDeserializer.h"
#include "json/JsonParser.h"
#include "ostrel/DataObjectHandler.h"
#include "tools/ostrel-inspect/Commands.h"
#include "tools/ostrel-inspect/JsonWriter.h"
#include "tools/ostrel-inspect/Output.h"
#include "tools/ostrel-inspect/Source.h"
#include "tools/ostrel-inspect/Tree.h"

using json::JsonData;
using json::JsonParser;

namespace Inspect {

namespace {

const size_t MOST_HELD_BACK = 65536; // bytes of output

/// Receives scalars as the texts that show them.
class ValueHandler : public JsonParser::EventHandler
{
public:
    using EventHandler::onInteger;
    void onInteger(JsonParser*, const char* key, long long value) override
    {
        onValue("integer", key, std::to_string(value));
    }
    void onDouble(JsonParser*, const char* key, double value) override { onValue("double", key, showNumber(value)); }
    void onString(JsonParser*, const char* key, const char* value) override
    {
        _text.clear();
        appendText(_text, value, TextStyle::JSON);
        onValue("string", key, _text);
    }
    void onBoolean(JsonParser*, const char* key, bool value) override
    {
        onValue("boolean", key, value ? "true" : "false");
    }
    void onNull(JsonParser*, const char* key) override { onValue("null", key, "null"); }

    void flush() { flushTo(stdout, _out); }

protected:
    virtual void onValue(const char* kind, const char* key, const std::string& value) = 0;

    void flushIfMuch()
    {
        if (_out.size() > MOST_HELD_BACK)
            flush();
    }

    std::string _out;

private:
    std::string _text;
};

/// `string "name": "pump"`, a line for each event.
class EventPrinter : public ValueHandler
{
public:
    void arrayStart(JsonParser*, const char* key) override { print("arrayStart", key, ""); }
    void arrayEnd(JsonParser*) override { print("arrayEnd", nullptr, ""); }
    void objectStart(JsonParser*, const char* key) override { print("objectStart", key, ""); }
    void objectEnd(JsonParser*) override { print("objectEnd", nullptr, ""); }

private:
    void onValue(const char* kind, const char* key, const std::string& value) override
    {
        print(kind, key, strcmp(kind, "null") == 0 ? "" : value);
    }

    void print(const char* kind, const char* key, const std::string& value)
    {
        _out += kind;
        if (key != nullptr)
            appendText(_out += ' ', key, TextStyle::JSON);
        if (!value.empty())
            (_out += key != nullptr ? ": " : " ") += value;
        _out += '\n';
        flushIfMuch();
    }
};

/// The document again, with one value a line.
class PrettyPrinter : public ValueHandler
{
public:
    void arrayStart(JsonParser*, const char* key) override { _json.open(key, false); }
    void arrayEnd(JsonParser*) override { _json.close(); }
    void objectStart(JsonParser*, const char* key) override { _json.open(key, true); }
    void objectEnd(JsonParser*) override { _json.close(); }

private:
    void onValue(const char*, const char* key, const std::string& value) override
    {
        _json.add(key, value);
        flushIfMuch();
    }

    JsonWriter _json{&_out, true};
};

ExitStatus finish(Source& source, int result, const json::JsonError& error)
{
    if (source.complainIfFailed())
        return EXIT_REFUSED;
    if (result == 0)
        return EXIT_GOOD;
    source.complainInLine(error.offset, {error.line, error.column}, error.getText());
    return EXIT_REFUSED;
}

ExitStatus check(Source& source)
{
    JsonParser parser;
    const int result = parser.parse(&source);
    return finish(source, result, parser.getError());
}

template <class Printer>
ExitStatus printEvents(Source& source)
{
    source.setQuiet();
    Printer printer;
    JsonParser parser(&printer);
    const int result = parser.parse(&source);
    printer.flush();
    return finish(source, result, parser.getError());
}

/// The tree has no fractions; who has such numbers is told.
class TreeHandler : public Ostrel::DataObjectHandler
{
public:
    void onDouble(Ostrel::WeakPtr<Ostrel::Deserializer> deserializer, const char* key, double value) override
    {
        hasFractions = true;
        DataObjectHandler::onDouble(deserializer, key, value);
    }

    bool hasFractions = false;
};

ExitStatus printCompact(Source& source)
{
    keepReports();
    TreeHandler handler;
    json::JsonDeserializer deserializer;
    const int result = deserializer.parse(source, handler);
    const ExitStatus status = finish(source, result, deserializer.getError());
    if (status != EXIT_GOOD)
        return status;
    if (handler.hasFractions)
        complain(source.getName() + ": note: the tree keeps integers, and fractions have been cut");
    return writeTree(source.getName(), *handler.getRoot());
}

/// One step of a path, a key or an index; `*path` moves behind it. False when it is neither.
bool takeStep(const char** path, bool isFirst, std::string* key, unsigned int* index)
{
    const char* cur = *path;
    if (*cur == '[') {
        char* end = nullptr;
        *index = static_cast<unsigned int>(strtoul(cur + 1, &end, 10));
        *path = end + 1;
        return isdigit(static_cast<unsigned char>(cur[1])) != 0 && *end == ']';
    }
    cur += *cur == '.' && !isFirst ? 1 : 0;
    *path = cur + strcspn(cur, ".[");
    key->assign(cur, *path);
    return !key->empty();
}

/// False when the path is none.
bool find(const char* path, JsonData* value)
{
    const char* const start = path;
    while (*path != '\0') {
        std::string key;
        unsigned int index = 0;
        if (!takeStep(&path, path == start, &key, &index))
            return false;
        *value = key.empty() ? (*value)[index] : (*value)(key.c_str());
    }
    return path != start;
}

/// Texts without quotes, for scripts; collections with one value a line.
bool printValue(const JsonData& value)
{
    std::string_view text(value.getData(), value.getLength());
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    text = text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
    if (text.empty())
        return false;
    if (text[0] == '{' || text[0] == '[') {
        PrettyPrinter printer;
        JsonParser parser(&printer);
        const bool isWhole = parser.parse(text.data(), static_cast<unsigned int>(text.size())) == 0;
        printer.flush();
        return isWhole;
    }
    if (text[0] == '"') {
        const JsonData content = value.toString();
        text = {content.getData(), content.getLength()};
    }
    std::string line = showText(text, TextStyle::JSON_PART) + "\n";
    flushTo(stdout, line);
    return true;
}

ExitStatus printAtPath(Source& source, const std::string& path)
{
    JsonData value;
    if (!find(path.c_str(), &value)) {
        complain("ostrel-inspect: '" + path + "' is no path such as servers[0].port");
        return EXIT_USAGE;
    }
    const std::string text = source.readUpTo(UINT_MAX);
    JsonParser parser;
    const int result = parser.parse(text.c_str(), static_cast<unsigned int>(text.size()));
    if (const ExitStatus status = finish(source, result, parser.getError()))
        return status;
    value = JsonData(text.c_str(), static_cast<unsigned int>(text.size()));
    find(path.c_str(), &value);
    if (printValue(value))
        return EXIT_GOOD;
    complain(source.getName() + ": nothing was found at " + path);
    return EXIT_REFUSED;
}

} // namespace

ExitStatus runJson(const Options& options)
{
    Source source(options.files[0]);
    switch (options.mode) {
    case Mode::COMPACT:
        return printCompact(source);
    case Mode::PRETTY:
        return printEvents<PrettyPrinter>(source);
    case Mode::EVENTS:
        return printEvents<EventPrinter>(source);
    case Mode::GET:
        return printAtPath(source, options.path);
    default:
        return check(source);
    }
}

} // namespace Inspect
