#pragma once

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/InputStream.h"
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

/// Delivers text in pieces, whose sizes repeat, and writes down what was asked for.
class PieceStream : public Ostrel::InputStream
{
public:
    explicit PieceStream(std::string text, std::vector<unsigned int> pieces = {0xFFFFFFFF}, int resultAtEnd = 0)
        : _text(std::move(text)), _pieces(std::move(pieces)), _resultAtEnd(resultAtEnd)
    {}

    int read(unsigned char* buffer, unsigned int size) override
    {
        asked.push_back(size);
        if (_position == _text.size()) {
            ++readsAtEnd;
            return _resultAtEnd;
        }
        const size_t wanted = std::min(size, _pieces[(asked.size() - 1) % _pieces.size()]);
        const size_t count = _text.copy(reinterpret_cast<char*>(buffer), wanted, _position);
        _position += count;
        memset(buffer + count, ' ', claimed == 0 ? 0 : size - count);
        return claimed == 0 ? static_cast<int>(count) : claimed;
    }

    const char* getErrorString() const override { return nullptr; }
    std::string getRest() const { return _text.substr(_position); }

    std::vector<unsigned int> asked;
    int readsAtEnd = 0;
    int claimed = 0; ///< What each read before the end gives instead of its count; blanks fill what was asked for.

private:
    std::string _text;
    std::vector<unsigned int> _pieces;
    int _resultAtEnd;
    size_t _position = 0;
};
