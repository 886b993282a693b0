/// Not installed: internal to the library.
#pragma once

#include <cstdint>

#include "ostrel/internal/TextPieces.h"

namespace Ostrel {

/// What stands in front of an integer's digits.
inline CharacterPiece signOf(long long value)
{
    return CharacterPiece('-', value < 0);
}

/// The digits of an integer's magnitude as a piece of text for `TextGenerator::write`. Not exported.
class IntegerPiece
{
public:
    explicit IntegerPiece(long long value);

    uint64_t getSize() const { return _digits; }
    char* writeTo(char* to) const;

private:
    unsigned long long _magnitude;
    unsigned int _digits;
};

} // namespace Ostrel
