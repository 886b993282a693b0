#include "json/JsonGen.h"

#include <cstdio>
#include <cstring>

#include "ostrel/internal/EscapedPiece.h"
#include "ostrel/internal/FixedPoint.h"
#include "ostrel/internal/IntegerPiece.h"
#include "ostrel/internal/TextPieces.h"

using Ostrel::BytesPiece;
using Ostrel::CharacterPiece;
using Ostrel::IntegerPiece;
using Ostrel::LiteralPiece;
using Ostrel::MOST_FIXED_SIZE;
using Ostrel::signOf;
using Ostrel::writeFixed;

namespace json {

namespace {

using EscapedPiece = Ostrel::EscapedPiece<Ostrel::JSON_ESCAPES>;

const unsigned char MOST_DIGITS = 16;
const unsigned int FORMATTED_SIZE = 400; // any double with all its digits

constexpr LiteralPiece QUOTE("\"");
constexpr LiteralPiece END_OF_KEY("\":");
constexpr LiteralPiece OBJECT_START("{");
constexpr LiteralPiece ARRAY_START("[");

CharacterPiece commaIf(bool present)
{
    return CharacterPiece(',', present);
}

/// What `vsnprintf` makes of a format that has been measured before.
class FormattedPiece
{
public:
    FormattedPiece(const char* format, va_list* arguments, unsigned int size)
        : _format(format), _arguments(arguments), _size(size)
    {}
    uint64_t getSize() const { return _size; }

    /// Once only, as the arguments are used up.
    char* writeTo(char* to) const
    {
        vsnprintf(to, uint64_t{_size} + 1, _format, *_arguments); // its terminator takes the spare byte
        return to + _size;
    }

private:
    const char* _format;
    va_list* _arguments;
    unsigned int _size;
};

unsigned int capDigits(unsigned char digits)
{
    return digits < MOST_DIGITS ? digits : MOST_DIGITS;
}

} // namespace

template <class... Pieces>
JsonGen& JsonGen::writeValue(const Pieces&... pieces)
{
    const Placement placement = placeValue();
    if (placement == PLACE_REFUSED)
        return *this;
    write(commaIf(placement == PLACE_NEXT), pieces...);
    complete();
    return *this;
}

/// The pieces begin with the end of the key.
template <class... Pieces>
JsonGen& JsonGen::writeMember(const char* key, const Pieces&... pieces)
{
    const Placement placement = placeMember();
    if (placement != PLACE_REFUSED)
        write(commaIf(placement == PLACE_NEXT), QUOTE, EscapedPiece(key), pieces...);
    return *this; // not complete: members stand in objects, never at document level
}

JsonGen& JsonGen::reset()
{
    restart();
    return *this;
}

JsonGen& JsonGen::nullTerminate()
{
    terminate();
    return *this;
}

JsonGen& JsonGen::startCollection(const char* key, Status type)
{
    if (!checkCollection(key, type))
        return *this;
    const CharacterPiece comma = commaIf(place() == PLACE_NEXT);
    const LiteralPiece<2>& bracket = type == STARTING_OBJECT ? OBJECT_START : ARRAY_START;
    if (key == nullptr) {
        write(comma, bracket);
    } else {
        write(comma, QUOTE, EscapedPiece(key), END_OF_KEY, bracket);
    }
    openLevel(type);
    return *this;
}

JsonGen& JsonGen::end()
{
    if (!checkOpen())
        return *this;
    if (getStatus() == INITIALIZED) {
        setStatus(UNEXPECTED_END); // an empty document ends as done all the same, by what follows
    } else {
        write(CharacterPiece(isInObject() ? '}' : ']'));
        closeLevel(); // also when memory ran out for the bracket: the enclosing level goes on
    }
    complete();
    return *this;
}

JsonGen& JsonGen::add(NullType)
{
    return writeValue(LiteralPiece("null"));
}

JsonGen& JsonGen::add(bool value)
{
    return value ? writeValue(LiteralPiece("true")) : writeValue(LiteralPiece("false"));
}

JsonGen& JsonGen::add(const char* value)
{
    return writeValue(QUOTE, EscapedPiece(value), QUOTE);
}

JsonGen& JsonGen::add(long long value)
{
    return writeValue(signOf(value), IntegerPiece(value));
}

JsonGen& JsonGen::add(int value)
{
    return add(static_cast<long long>(value));
}

JsonGen& JsonGen::add(double value, unsigned char digits)
{
    if (isInObject()) {
        setStatus(EXPECTED_KEY_VALUE);
        return *this;
    }
    char number[MOST_FIXED_SIZE];
    if (const unsigned int length = writeFixed(number, value, capDigits(digits)))
        return addPiece(BytesPiece(number, length));
    return addWithFormat("%.*f", static_cast<int>(capDigits(digits)), value);
}

JsonGen& JsonGen::add(const char* key, NullType)
{
    return writeMember(key, LiteralPiece("\":null"));
}

JsonGen& JsonGen::add(const char* key, bool value)
{
    return value ? writeMember(key, LiteralPiece("\":true")) : writeMember(key, LiteralPiece("\":false"));
}

JsonGen& JsonGen::add(const char* key, const char* value)
{
    return writeMember(key, LiteralPiece("\":\""), EscapedPiece(value), QUOTE);
}

JsonGen& JsonGen::add(const char* key, long long value)
{
    return writeMember(key, END_OF_KEY, signOf(value), IntegerPiece(value));
}

JsonGen& JsonGen::add(const char* key, int value)
{
    return add(key, static_cast<long long>(value));
}

JsonGen& JsonGen::add(const char* key, double value, unsigned char digits)
{
    if (!isInObject()) {
        placeMember(); // for the status
        return *this;
    }
    if (key == nullptr)
        key = "(null)";
    const size_t keySize = strlen(key);
    char member[FORMATTED_SIZE];
    if (keySize + QUOTE.getSize() + END_OF_KEY.getSize() + MOST_FIXED_SIZE <= sizeof(member)) {
        // Put together before room is made for it: a key that lies in the buffer would move.
        char* const number = END_OF_KEY.writeTo(BytesPiece(key, keySize).writeTo(QUOTE.writeTo(member)));
        if (const unsigned int length = writeFixed(number, value, capDigits(digits)))
            return addPiece(BytesPiece(member, static_cast<size_t>(number + length - member)));
    }
    return addWithFormat("\"%s\":%.*f", key, static_cast<int>(capDigits(digits)), value);
}

/// Without a look at the key, which `piece` brings with it.
template <class Piece>
JsonGen& JsonGen::addPiece(const Piece& piece)
{
    if (checkOpen()) {
        const CharacterPiece comma = commaIf(place() == PLACE_NEXT);
        write(comma, piece);
        complete();
    }
    return *this;
}

JsonGen& JsonGen::addWithFormat(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    if (checkOpen())
        addFormatted(format, arguments);
    va_end(arguments);
    return *this;
}

void JsonGen::addFormatted(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    char text[FORMATTED_SIZE];
    const int size = vsnprintf(text, sizeof(text), format, arguments);
    if (size >= 0) {
        const unsigned int length = static_cast<unsigned int>(size);
        const CharacterPiece comma = commaIf(place() == PLACE_NEXT);
        if (length < sizeof(text)) {
            write(comma, BytesPiece(text, length));
        } else {
            write(comma, FormattedPiece(format, &again, length));
        }
    }
    va_end(again);
    complete();
}

JsonGen& JsonGen::appendEscapedStringToBuffer(const char* text)
{
    write(EscapedPiece(text));
    return *this;
}

JsonGen& JsonGen::appendIntegerToBuffer(long long value)
{
    write(signOf(value), IntegerPiece(value));
    return *this;
}

} // namespace json
