#pragma once

#include <cstdio>
#include <string>

#include "json/JsonParser.h"

/// Writes the events of a parse down: `{ a=[ i1 d2.5 sx true null ] }`.
class JsonEventLog : public json::JsonParser::EventHandler
{
public:
    using EventHandler::onInteger;
    using Parser = json::JsonParser;

    void onInteger(Parser*, const char* key, long long value) override { add(key, "i" + std::to_string(value)); }
    void onDouble(Parser*, const char* key, double value) override { add(key, formatDouble(value)); }
    void onString(Parser*, const char* key, const char* value) override { add(key, std::string("s") + value); }
    void onBoolean(Parser*, const char* key, bool value) override { add(key, value ? "true" : "false"); }
    void onNull(Parser*, const char* key) override { add(key, "null"); }
    void arrayStart(Parser*, const char* key) override { add(key, "["); }
    void arrayEnd(Parser*) override { add(nullptr, "]"); }
    void objectStart(Parser*, const char* key) override { add(key, "{"); }
    void objectEnd(Parser*) override { add(nullptr, "}"); }

    /// With all the digits that tell it from its neighbours.
    static std::string formatDouble(double value)
    {
        char digits[40];
        snprintf(digits, sizeof(digits), "d%.17g", value);
        return digits;
    }

    std::string text;

private:
    void add(const char* key, const std::string& event)
    {
        text += text.empty() ? "" : " ";
        text += (key == nullptr ? "" : std::string(key) + "=") + event;
    }
};

/// The events of a parse, and behind them `!` and the error, if there was one.
template <class Parse>
std::string observe(const Parse& parse)
{
    JsonEventLog log;
    json::JsonParser parser(&log);
    const int result = parse(parser);
    const char* const error = parser.getErrorString();
    if (result != (error == nullptr ? 0 : -1))
        return "result and error contradict each other";
    return log.text + (error == nullptr ? "" : std::string("!") + error);
}
