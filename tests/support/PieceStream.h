#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "ostrel/InputStream.h"

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
