#pragma once

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "json/JsonParser.h"

/// Reads JSON as `JsonParser` has it, byte by byte and without a thought for speed. What the handler throws passes.
class SlowJsonReader
{
public:
    using Error = json::JsonError;

    SlowJsonReader(std::string document, json::JsonParser::EventHandler& handler)
        : _text(std::move(document)), _handler(handler)
    {}

    /// Without line and column.
    Error read()
    {
        try {
            readValue(nullptr, Error::NO_VALUE);
            skipBlanks();
            if (_at < _text.size())
                fail(Error::EXCESS_DATA);
        } catch (const Error& error) {
            return error;
        }
        return Error();
    }

    /// Null without an error.
    static const char* getErrorString(const Error& error)
    {
        switch (error.reason) {
        case Error::NONE:
            return nullptr;
        case Error::TOO_DEEP:
            return "Max json data depth exceeded";
        case Error::EXCESS_DATA:
            return "Excess data after json";
        default:
            return "Invalid json data";
        }
    }

private:
    static constexpr unsigned int MAX_DEPTH = 15;

    [[noreturn]] void fail(Error::Reason reason) const
    {
        Error error;
        error.reason = reason;
        error.offset = _at;
        throw error;
    }

    char peek(Error::Reason atEnd) const
    {
        if (_at >= _text.size())
            fail(atEnd);
        return _text[_at];
    }

    void skipBlanks() { _at = std::min(_text.find_first_not_of(" \t\r\n", _at), _text.size()); }

    char peekToken(Error::Reason atEnd)
    {
        skipBlanks();
        return peek(atEnd);
    }

    void readValue(const char* key, Error::Reason atEnd)
    {
        const char first = peekToken(atEnd);
        if (first == '{' || first == '[') {
            readCollection(key, first == '{');
        } else if (first == '"') {
            _handler.onString(nullptr, key, readText().c_str());
        } else if (first == 't' || first == 'f') {
            readLiteral(first == 't' ? "true" : "false");
            _handler.onBoolean(nullptr, key, first == 't');
        } else if (first == 'n') {
            readLiteral("null");
            _handler.onNull(nullptr, key);
        } else if (first == '-' || isDigit()) {
            readNumber(key);
        } else {
            fail(Error::EXPECTED_VALUE);
        }
    }

    void readCollection(const char* key, bool isObject)
    {
        const char closing = isObject ? '}' : ']';
        const Error::Reason atEnd = isObject ? Error::END_IN_OBJECT : Error::END_IN_ARRAY;
        if (++_depth > MAX_DEPTH)
            fail(Error::TOO_DEEP);
        isObject ? _handler.objectStart(nullptr, key) : _handler.arrayStart(nullptr, key);
        char last = '\0';
        do {
            ++_at; // behind the bracket or the comma
            if (peekToken(atEnd) == closing && last != ',')
                break;
            if (_text[_at] == closing)
                fail(Error::TRAILING_COMMA);
            isObject ? readMember() : readValue(nullptr, atEnd);
            last = peekToken(atEnd);
            if (last != ',' && last != closing)
                fail(isObject ? Error::EXPECTED_COMMA_OR_BRACE : Error::EXPECTED_COMMA_OR_BRACKET);
        } while (last == ',');
        ++_at;
        --_depth;
        isObject ? _handler.objectEnd(nullptr) : _handler.arrayEnd(nullptr);
    }

    void readMember()
    {
        if (_text[_at] != '"')
            fail(Error::EXPECTED_KEY);
        const std::string key = readText();
        if (peekToken(Error::END_IN_OBJECT) != ':')
            fail(Error::EXPECTED_COLON);
        ++_at;
        readValue(key.c_str(), Error::END_IN_OBJECT);
    }

    void readLiteral(const char* literal)
    {
        for (; *literal != '\0'; ++literal, ++_at) {
            if (peek(Error::END_IN_LITERAL) != *literal)
                fail(Error::WRONG_LITERAL);
        }
    }

    std::string readText()
    {
        std::string text;
        ++_at;
        for (; peek(Error::END_IN_TEXT) != '"'; ++_at) {
            if (_text[_at] == '\\')
                text += readEscape();
            else
                text += _text[_at];
        }
        ++_at;
        return text;
    }

    /// Ends at its last byte.
    std::string readEscape()
    {
        ++_at;
        switch (peek(Error::END_IN_TEXT)) {
        case 'b':
            return "\b";
        case 'f':
            return "\f";
        case 'n':
            return "\n";
        case 'r':
            return "\r";
        case 't':
            return "\t";
        case 'u':
            return readCodePoint();
        default:
            return std::string(1, _text[_at]);
        }
    }

    /// In UTF-8, each by itself.
    std::string readCodePoint()
    {
        for (int i = 0; i < 4; ++i) {
            ++_at;
            if (isxdigit(static_cast<unsigned char>(peek(Error::END_IN_TEXT))) == 0)
                fail(Error::WRONG_ESCAPE);
        }
        const unsigned long code = strtoul(_text.substr(_at - 3, 4).c_str(), nullptr, 16);
        if (code < 0x80)
            return std::string(1, static_cast<char>(code));
        if (code < 0x800)
            return {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
        return {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3F)),
                static_cast<char>(0x80 | (code & 0x3F))};
    }

    bool isDigit() const { return _at < _text.size() && _text[_at] >= '0' && _text[_at] <= '9'; }

    bool skipAny(const char* bytes)
    {
        const bool isThere = _at < _text.size() && _text[_at] != '\0' && strchr(bytes, _text[_at]) != nullptr;
        _at += isThere;
        return isThere;
    }

    void skipDigits()
    {
        peek(Error::END_IN_NUMBER);
        if (!isDigit())
            fail(Error::EXPECTED_DIGIT);
        while (isDigit())
            ++_at;
    }

    void readNumber(const char* key)
    {
        const size_t start = _at;
        skipAny("-");
        skipDigits();
        const bool hasFraction = skipAny(".");
        if (hasFraction)
            skipDigits();
        const bool hasExponent = skipAny("eE");
        if (hasExponent) {
            skipAny("+-");
            skipDigits();
        }
        const std::string number = _text.substr(start, _at - start);
        if (hasFraction || hasExponent)
            return _handler.onDouble(nullptr, key, strtod(number.c_str(), nullptr));
        const long long value = strtoll(number.c_str(), nullptr, 10); // saturates
        if (value == LLONG_MIN || value == LLONG_MAX) {
            _at = start;
            fail(Error::NUMBER_OUT_OF_RANGE);
        }
        _handler.onInteger(nullptr, key, value);
    }

    const std::string _text;
    size_t _at = 0;
    unsigned int _depth = 0;
    json::JsonParser::EventHandler& _handler;
};
