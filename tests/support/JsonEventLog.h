#pragma once

#include <algorithm>
#include <cstdio>
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
    void onInteger(json::JsonParser*, const char* key, long long value) override
    {
        add(key, "i" + std::to_string(value));
    }
    void onDouble(json::JsonParser*, const char* key, double value) override
    {
        char digits[40];
        snprintf(digits, sizeof(digits), "d%.17g", value);
        add(key, digits);
    }
    void onString(json::JsonParser*, const char* key, const char* value) override
    {
        add(key, std::string("s") + value);
    }
    void onBoolean(json::JsonParser*, const char* key, bool value) override { add(key, value ? "true" : "false"); }
    void onNull(json::JsonParser*, const char* key) override { add(key, "null"); }
    void arrayStart(json::JsonParser*, const char* key) override { add(key, "["); }
    void arrayEnd(json::JsonParser*) override { add(nullptr, "]"); }
    void objectStart(json::JsonParser*, const char* key) override { add(key, "{"); }
    void objectEnd(json::JsonParser*) override { add(nullptr, "}"); }

    std::string text;

private:
    void add(const char* key, const std::string& event)
    {
        text += text.empty() ? "" : " ";
        text += (key == nullptr ? "" : std::string(key) + "=") + event;
    }
};

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
        return static_cast<int>(count);
    }

    const char* getErrorString() const override { return nullptr; }
    std::string getRest() const { return _text.substr(_position); }

    std::vector<unsigned int> asked;
    int readsAtEnd = 0;

private:
    std::string _text;
    std::vector<unsigned int> _pieces;
    int _resultAtEnd;
    size_t _position = 0;
};
