#include "json/JsonReader.h"

#include <langinfo.h>

#include <cstdint>
#include <cstring>

#include "ostrel/StringUtils.h"
#include "json/JsonBlock.h"
#include "json/JsonNumber.h"

namespace json {

namespace {

const unsigned int MAX_UTF8_SIZE = 6;

bool isBlank(char byte)
{
    return byte == ' ' || byte == '\n' || byte == '\t' || byte == '\r';
}

bool isLocalePointDot()
{
    const char* point = nl_langinfo(RADIXCHAR);
    return point[0] == '.' && point[1] == '\0';
}

int getHexValue(unsigned char byte)
{
    if (byte >= '0' && byte <= '9')
        return byte - '0';
    const int letter = byte | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

} // namespace

bool JsonScratch::grow()
{
    if (_capacity > SIZE_MAX / 2)
        return false;
    char* const grown = static_cast<char*>(realloc(_data == _initial ? nullptr : _data, _capacity * 2));
    if (grown == nullptr)
        return false;
    if (_data == _initial)
        memcpy(grown, _initial, sizeof(_initial));
    _data = grown;
    _capacity *= 2;
    return true;
}

JsonReader::JsonReader(JsonParser* parser, JsonParser::EventHandler* handler, const char* data, size_t length)
    : _cur(data),
      _end(data + length),
      _input(nullptr),
      _window(nullptr),
      _windowSize(0),
      _isPointDot(isLocalePointDot()),
      _parser(parser),
      _handler(handler)
{}

JsonReader::JsonReader(JsonParser* parser, JsonParser::EventHandler* handler, Ostrel::InputStream* input, char* window,
                       unsigned int windowSize)
    : _cur(window),
      _end(window),
      _input(input),
      _window(window),
      _windowSize(windowSize),
      _isPointDot(isLocalePointDot()),
      _parser(parser),
      _handler(handler)
{}

int JsonReader::read()
{
    const bool isValid = readValue(0);
    if (_depth > MAX_DEPTH)
        return JSON_DEPTH_EXCEEDED;
    if (!isValid)
        return JSON_INVALID_DATA;
    return nextByte() == END_OF_DATA ? JSON_OK : JSON_EXCESS_DATA;
}

/// A source that failed has ended. It is not asked again: a non-blocking one could have more data by then.
bool JsonReader::refill()
{
    if (_input == nullptr)
        return false;
    const int count = _input->read(reinterpret_cast<unsigned char*>(_window), _windowSize);
    if (count <= 0) {
        _input = nullptr;
        return false;
    }
    _cur = _window;
    _end = _window + count;
    return true;
}

/// Skips white space; the byte behind it is not consumed.
inline int JsonReader::nextByte()
{
    if (_cur != _end) {
        const unsigned char byte = static_cast<unsigned char>(*_cur);
        if (byte > ' ')
            return byte;
    }
    return skipBlanks();
}

int JsonReader::skipBlanks()
{
    do {
        const char* cur = _cur;
        while (_end - cur >= JsonBlock::SIZE) {
            const unsigned int blanks = JsonBlock(cur).findNonBlank();
            cur += blanks;
            if (blanks < JsonBlock::SIZE)
                break;
        }
        while (cur != _end && isBlank(*cur))
            ++cur;
        _cur = cur;
        if (cur != _end)
            return static_cast<unsigned char>(*cur);
    } while (refill());
    return END_OF_DATA;
}

bool JsonReader::readValue(size_t keySize)
{
    switch (nextByte()) {
    case '{':
        return readObject(keySize);
    case '[':
        return readArray(keySize);
    case '"':
        return readString(keySize);
    case 't':
        if (!readLiteral("true", 4))
            return false;
        _handler->onBoolean(_parser, getKey(keySize), true);
        return true;
    case 'f':
        if (!readLiteral("false", 5))
            return false;
        _handler->onBoolean(_parser, getKey(keySize), false);
        return true;
    case 'n':
        if (!readLiteral("null", 4))
            return false;
        _handler->onNull(_parser, getKey(keySize));
        return true;
    default:
        return readNumber(keySize);
    }
}

/// Steps into a collection. One that lies too deep stays counted, which is how `read` knows.
bool JsonReader::open()
{
    ++_cur;
    return ++_depth <= MAX_DEPTH;
}

bool JsonReader::readObject(size_t keySize)
{
    if (!open())
        return false;
    _handler->objectStart(_parser, getKey(keySize));
    int byte = nextByte();
    if (byte != '}') {
        while (byte == '"' && readMember() && (byte = nextByte()) == ',') {
            ++_cur;
            byte = nextByte();
            if (byte == '}')
                return false;
        }
        if (byte != '}')
            return false;
    }
    ++_cur;
    --_depth;
    _handler->objectEnd(_parser);
    return true;
}

bool JsonReader::readMember()
{
    ++_cur;
    // The key is copied out of the window: reading its value may refill that.
    const size_t keySize = readText(0);
    if (keySize == 0 || nextByte() != ':')
        return false;
    ++_cur;
    return readValue(keySize);
}

bool JsonReader::readArray(size_t keySize)
{
    if (!open())
        return false;
    _handler->arrayStart(_parser, getKey(keySize));
    if (nextByte() != ']') {
        int byte = ',';
        while (byte == ',') {
            if (!readValue(0))
                return false;
            byte = nextByte();
            if (byte == ',')
                ++_cur;
        }
        if (byte != ']')
            return false;
    }
    ++_cur;
    --_depth;
    _handler->arrayEnd(_parser);
    return true;
}

bool JsonReader::readLiteral(const char* literal, size_t length)
{
    if (static_cast<size_t>(_end - _cur) >= length) {
        const bool isEqual = memcmp(_cur, literal, length) == 0;
        _cur += length;
        return isEqual;
    }
    for (size_t i = 0; i < length; ++i, ++_cur) {
        if (!hasByte() || *_cur != literal[i])
            return false;
    }
    return true;
}

bool JsonReader::readString(size_t keySize)
{
    ++_cur;
    const char* text = _window == nullptr ? nullptr : terminateInWindow();
    if (text == nullptr) {
        if (readText(keySize) == 0)
            return false;
        text = _scratch.getData() + keySize;
    }
    _handler->onString(_parser, getKey(keySize), text);
    return true;
}

/// A string that lies in our window as a whole, without escapes, is terminated where its closing quote was.
const char* JsonReader::terminateInWindow()
{
    const char* const text = _cur;
    const char* cur = text;
    while (_end - cur >= JsonBlock::SIZE) {
        const unsigned int plain = JsonBlock(cur).findQuoteOrBackslash();
        cur += plain;
        if (plain < JsonBlock::SIZE)
            break;
    }
    while (cur != _end && *cur != '"' && *cur != '\\')
        ++cur;
    if (cur == _end || *cur != '"')
        return nullptr;
    _window[cur - _window] = '\0';
    _cur = cur + 1;
    return text;
}

/// Reads up to and including the closing quote. The size of the terminated text that now stands at `offset` in the
/// scratch, 0 when the string is not valid.
size_t JsonReader::readText(size_t offset)
{
    const size_t ROOM = JsonBlock::SIZE + MAX_UTF8_SIZE; // for a block, for a character, and for the terminator
    char* out = _scratch.getData() + offset;
    for (;;) {
        if (_scratch.getData() + _scratch.getCapacity() - out < static_cast<ptrdiff_t>(ROOM)) {
            const size_t used = static_cast<size_t>(out - _scratch.getData());
            if (!_scratch.grow())
                return 0;
            out = _scratch.getData() + used;
        }
        if (_end - _cur >= JsonBlock::SIZE) {
            const JsonBlock block(_cur);
            block.store(out);
            const unsigned int plain = block.findQuoteOrBackslash();
            _cur += plain;
            out += plain;
            if (plain == JsonBlock::SIZE)
                continue;
        } else if (!hasByte()) {
            return 0;
        }
        const char byte = *_cur++;
        if (byte == '"') {
            *out++ = '\0';
            return static_cast<size_t>(out - _scratch.getData()) - offset;
        }
        if (byte != '\\')
            *out++ = byte;
        else if (!readEscape(out))
            return 0;
    }
}

/// Reads what follows a backslash. Any byte without a meaning stands for itself.
bool JsonReader::readEscape(char*& out)
{
    if (!hasByte())
        return false;
    const char byte = *_cur++;
    switch (byte) {
    case 'b':
        *out++ = '\b';
        return true;
    case 'f':
        *out++ = '\f';
        return true;
    case 'n':
        *out++ = '\n';
        return true;
    case 'r':
        *out++ = '\r';
        return true;
    case 't':
        *out++ = '\t';
        return true;
    case 'u': {
        unsigned int codePoint = 0;
        if (!readCodePoint(codePoint))
            return false;
        out += Ostrel::convertUnicodeToUtf8(out, codePoint, MAX_UTF8_SIZE);
        return true;
    }
    default:
        *out++ = byte;
        return true;
    }
}

bool JsonReader::readCodePoint(unsigned int& codePoint)
{
    for (int i = 0; i < 4; ++i, ++_cur) {
        const int value = hasByte() ? getHexValue(static_cast<unsigned char>(*_cur)) : -1;
        if (value < 0)
            return false;
        codePoint = codePoint << 4 | static_cast<unsigned int>(value);
    }
    return true;
}

bool JsonReader::readNumber(size_t keySize)
{
    JsonNumber number;
    const char* token = _cur;
    const char* behind = number.scan(token, _end);
    if (behind == _end && _input != nullptr) {
        // It may go on behind the window.
        const size_t length = collectNumber(keySize);
        if (length == 0)
            return false;
        token = _scratch.getData() + keySize;
        number = JsonNumber();
        behind = number.scan(token, token + length);
    } else {
        _cur = behind;
    }
    if (number.kind == JsonNumber::INVALID)
        return false;
    if (number.kind == JsonNumber::INTEGER) {
        _handler->onInteger(_parser, getKey(keySize), number.integer);
        return true;
    }
    if (number.kind == JsonNumber::UNDECIDED || !_isPointDot) {
        if (!copyToken(keySize, token, static_cast<size_t>(behind - token)))
            return false;
        number.real = strtod(_scratch.getData() + keySize, nullptr);
    }
    _handler->onDouble(_parser, getKey(keySize), number.real);
    return true;
}

/// Consumes a number byte by byte into the scratch. Its length, 0 when it is no number.
size_t JsonReader::collectNumber(size_t offset)
{
    size_t used = offset;
    if (hasByte() && *_cur == '-' && !collectByte(used))
        return 0;
    if (!collectDigits(used))
        return 0;
    if (hasByte() && *_cur == '.' && !(collectByte(used) && collectDigits(used)))
        return 0;
    if (hasByte() && (*_cur == 'e' || *_cur == 'E')) {
        if (!collectByte(used))
            return 0;
        if (hasByte() && (*_cur == '+' || *_cur == '-') && !collectByte(used))
            return 0;
        if (!collectDigits(used))
            return 0;
    }
    return used - offset;
}

/// At least one digit.
bool JsonReader::collectDigits(size_t& used)
{
    const size_t before = used;
    while (hasByte() && *_cur >= '0' && *_cur <= '9') {
        if (!collectByte(used))
            return false;
    }
    return used != before;
}

bool JsonReader::collectByte(size_t& used)
{
    if (used == _scratch.getCapacity() && !_scratch.grow())
        return false;
    _scratch.getData()[used++] = *_cur++;
    return true;
}

/// Puts a terminated copy into the scratch, where the token itself may already be.
bool JsonReader::copyToken(size_t offset, const char* token, size_t length)
{
    const bool isInScratch = token == _scratch.getData() + offset;
    while (_scratch.getCapacity() - offset <= length) {
        if (!_scratch.grow())
            return false;
    }
    if (!isInScratch)
        memcpy(_scratch.getData() + offset, token, length);
    _scratch.getData()[offset + length] = '\0';
    return true;
}

} // namespace json
