#include "xml/XmlGen.h"

#include <cstdlib>
#include <cstring>

#include "ostrel/internal/CopyBytes.h"
#include "ostrel/internal/EscapedPiece.h"
#include "ostrel/internal/IntegerPiece.h"
#include "ostrel/internal/TextPieces.h"

using Ostrel::BytesPiece;
using Ostrel::CharacterPiece;
using Ostrel::copyBytes;
using Ostrel::IntegerPiece;
using Ostrel::LiteralPiece;
using Ostrel::signOf;

namespace xml {

namespace {

using EscapedPiece = Ostrel::EscapedPiece<Ostrel::XML_ESCAPES>;

constexpr LiteralPiece DECLARATION("<?xml version='1.0' encoding='UTF-8'?>");
constexpr CharacterPiece TAG('<');
constexpr CharacterPiece SLASH('/');
constexpr CharacterPiece END_OF_TAG('>');
constexpr CharacterPiece END_OF_DOCUMENT('\0');

const size_t NAME_STEP = 32;

} // namespace

XmlGen::Name::~Name()
{
    free(_text);
}

bool XmlGen::Name::assign(const char* text, size_t length)
{
    if (length >= _size && !grow(length + 1)) {
        _length = 0;
        return false;
    }
    *copyBytes(_text, text, length) = '\0';
    _length = length;
    return true;
}

bool XmlGen::Name::grow(size_t size)
{
    size = (size + NAME_STEP - 1) & ~(NAME_STEP - 1);
    char* const text = static_cast<char*>(realloc(_text, size));
    if (text == nullptr)
        return false;
    _text = text;
    _size = size;
    return true;
}

XmlGen::XmlGen() = default;

XmlGen::~XmlGen() = default;

template <class... Pieces>
XmlGen& XmlGen::writeValue(const Pieces&... pieces)
{
    if (placeValue() == PLACE_REFUSED)
        return *this;
    // One above the names in use: that of the last collection closed here.
    const BytesPiece name(_names[_nameDepth].getText(), _names[_nameDepth].getLength());
    write(TAG, name, END_OF_TAG, pieces..., TAG, SLASH, name, END_OF_TAG);
    complete();
    return *this;
}

template <class... Pieces>
XmlGen& XmlGen::writeMember(const char* key, const Pieces&... pieces)
{
    if (placeMember() == PLACE_REFUSED)
        return *this;
    const EscapedPiece name(key);
    write(TAG, name, END_OF_TAG, pieces..., TAG, SLASH, name, END_OF_TAG);
    return *this; // not complete: members stand in objects, never at document level
}

XmlGen& XmlGen::reset()
{
    restart();
    _nameDepth = 0;
    return *this;
}

XmlGen& XmlGen::nullTerminate()
{
    terminate();
    return *this;
}

XmlGen& XmlGen::startCollection(const char* key, Status type)
{
    if (!checkCollection(key, type))
        return *this;
    place(); // for the status
    if (getStatus() == INITIALIZED) {
        write(DECLARATION);
    } else if (key != nullptr) {
        openElement(key, strlen(key), type);
    } else if (isInObject()) {
        setStatus(EXPECTED_KEY_VALUE);
        return *this;
    } else if (_nameDepth > 0) {
        const Name& name = _names[_nameDepth - 1];
        openElement(name.getText(), name.getLength(), type);
    }
    openLevel(type);
    return *this;
}

void XmlGen::openElement(const char* name, size_t length, Status type)
{
    if (type == STARTING_OBJECT)
        write(TAG, EscapedPiece(name), END_OF_TAG);
    // The level opens without its name, too: its end is counted all the same.
    if (!_names[_nameDepth++].assign(name, length))
        setStatus(OUT_OF_MEMORY);
}

XmlGen& XmlGen::end()
{
    if (!checkOpen())
        return *this;
    if (getStatus() == INITIALIZED) {
        setStatus(UNEXPECTED_END); // an empty document ends as done all the same, by what follows
    } else {
        closeElement();
        closeLevel(); // also when memory ran out for the tag: the enclosing level goes on
    }
    complete();
    return *this;
}

void XmlGen::closeElement()
{
    if (_nameDepth == 0) {
        write(END_OF_DOCUMENT); // see docs/compatibility.md
        return;
    }
    --_nameDepth;
    // Not escaped, unlike in the opening tag: see docs/compatibility.md.
    const Name& name = _names[_nameDepth];
    if (isInObject())
        write(TAG, SLASH, BytesPiece(name.getText(), name.getLength()), END_OF_TAG);
}

XmlGen& XmlGen::add(NullType)
{
    return writeValue(LiteralPiece("Null"));
}

XmlGen& XmlGen::add(bool value)
{
    return value ? writeValue(LiteralPiece("true")) : writeValue(LiteralPiece("false"));
}

XmlGen& XmlGen::add(const char* value)
{
    return writeValue(EscapedPiece(value));
}

XmlGen& XmlGen::add(int value)
{
    return writeValue(signOf(value), IntegerPiece(value));
}

XmlGen& XmlGen::add(double, unsigned char)
{
    return *this;
}

XmlGen& XmlGen::add(const char* key, NullType)
{
    return writeMember(key, LiteralPiece("Null"));
}

XmlGen& XmlGen::add(const char* key, bool value)
{
    return value ? writeMember(key, LiteralPiece("true")) : writeMember(key, LiteralPiece("false"));
}

XmlGen& XmlGen::add(const char* key, const char* value)
{
    return writeMember(key, EscapedPiece(value));
}

XmlGen& XmlGen::add(const char* key, int value)
{
    return writeMember(key, signOf(value), IntegerPiece(value));
}

XmlGen& XmlGen::add(const char*, double, unsigned char)
{
    return *this;
}

XmlGen& XmlGen::appendEscapedStringToBuffer(const char* text)
{
    write(EscapedPiece(text));
    return *this;
}

XmlGen& XmlGen::appendIntegerToBuffer(int value)
{
    write(signOf(value), IntegerPiece(value));
    return *this;
}

} // namespace xml
