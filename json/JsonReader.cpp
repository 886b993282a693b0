#include "json/internal/JsonReader.h"

#include <langinfo.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "ostrel/StringUtils.h"
#include "json/internal/JsonBlock.h"
#include "json/internal/JsonNumber.h"

namespace json {

namespace {

const unsigned int MAX_UTF8_SIZE = 6;
const int LONGEST_LITERAL = 5;
const int SMALL_INDENTATION = 7;

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

bool JsonScratch::grow(char*& position)
{
    const size_t capacity = static_cast<size_t>(_end - _data);
    if (capacity > SIZE_MAX / 2)
        return false;
    char* const grown = static_cast<char*>(realloc(_data == _initial ? nullptr : _data, capacity * 2));
    if (grown == nullptr)
        return false;
    if (_data == _initial)
        memcpy(grown, _initial, sizeof(_initial));
    position = grown + (position - _data);
    _data = grown;
    _end = grown + capacity * 2;
    return true;
}

JsonReader::JsonReader(JsonParser* parser, JsonParser::EventHandler* handler, const char* data, size_t length)
    : _parser(parser),
      _handler(handler),
      _end(data + length),
      _start(data),
      _input(nullptr),
      _window(nullptr),
      _windowSize(0),
      _isPointDot(isLocalePointDot())
{}

JsonReader::JsonReader(JsonParser* parser, JsonParser::EventHandler* handler, Ostrel::InputStream* input, char* window,
                       unsigned int windowSize)
    : _parser(parser),
      _handler(handler),
      _end(window),
      _start(window),
      _input(input),
      _window(window),
      _windowSize(windowSize),
      _isPointDot(isLocalePointDot())
{}

int JsonReader::read()
{
    const char* cur = findToken(_start);
    if (cur != nullptr)
        cur = readValue(cur, 0);
    if (_depth > MAX_DEPTH)
        return JSON_DEPTH_EXCEEDED;
    if (cur == nullptr)
        return JSON_INVALID_DATA;
    return findToken(cur) == nullptr ? JSON_OK : JSON_EXCESS_DATA;
}

/// The window anew, null when the stream has ended. One that failed has ended too, and it is not asked again: a
/// non-blocking one could have more data by then.
const char* JsonReader::refill()
{
    if (_input == nullptr)
        return nullptr;
    // A source that claims more than it was asked for must not lead us behind the window.
    const int count =
        std::min(_input->read(reinterpret_cast<unsigned char*>(_window), _windowSize), static_cast<int>(_windowSize));
    if (count <= 0) {
        _input = nullptr;
        return nullptr;
    }
    _end = _window + count;
    return _window;
}

// The steps below are inline, though large, so that the compiler may merge them along the descent.

/// The first byte that is no white space; null when there is none.
inline const char* JsonReader::findToken(const char* cur)
{
    if (_end - cur >= 2) {
        if (static_cast<unsigned char>(cur[0]) > ' ')
            return cur;
        if (static_cast<unsigned char>(cur[1]) > ' ' && isBlank(cur[0]))
            return cur + 1;
    }
    return skipBlanks(cur);
}

const char* JsonReader::skipBlanks(const char* cur)
{
    // A small indentation is walked: a branch guessed right does not wait for its byte, as a block's result does.
    if (_end - cur >= SMALL_INDENTATION) {
        for (const char* const walked = cur + SMALL_INDENTATION; cur != walked; ++cur) {
            if (!isBlank(*cur))
                return cur;
        }
    }
    while (cur != nullptr) {
        while (_end - cur >= ByteBlock::SIZE) {
            const unsigned int blanks = findNonBlank(ByteBlock(cur));
            if (blanks < ByteBlock::SIZE)
                return cur + blanks;
            cur += ByteBlock::SIZE; // not `blanks`, for which the next block would have to wait
        }
        for (; cur != _end; ++cur) {
            if (!isBlank(*cur))
                return cur;
        }
        cur = refill();
    }
    return nullptr;
}

/// `at` is known to hold the literal's first byte.
inline const char* JsonReader::readLiteral(const char* at, const char* literal, size_t length)
{
    if (_end - at >= LONGEST_LITERAL) {
        // The last four bytes are all but the first one, which is known, or all; their number makes it one comparison.
        const char* const behind = at + length;
        return memcmp(behind - 4, literal + length - 4, 4) == 0 ? behind : nullptr;
    }
    for (const char* const end = literal + length; literal != end; ++literal, ++at) {
        if ((at = ensureByte(at)) == nullptr || *at != *literal)
            return nullptr;
    }
    return at;
}

const char* JsonReader::readValue(const char* at, size_t keySize)
{
    switch (*at) {
    case '{':
        return readObject(at, keySize);
    case '[':
        return readArray(at, keySize);
    case '"':
        return readString(at, keySize);
    case 't':
        if ((at = readLiteral(at, "true", 4)) != nullptr)
            _handler->onBoolean(_parser, getKey(keySize), true);
        return at;
    case 'f':
        if ((at = readLiteral(at, "false", 5)) != nullptr)
            _handler->onBoolean(_parser, getKey(keySize), false);
        return at;
    case 'n':
        if ((at = readLiteral(at, "null", 4)) != nullptr)
            _handler->onNull(_parser, getKey(keySize));
        return at;
    default:
        return readNumber(at, keySize);
    }
}

inline const char* JsonReader::readObject(const char* at, size_t keySize)
{
    // A collection that lies too deep stays counted, which is how `read` knows.
    if (++_depth > MAX_DEPTH)
        return nullptr;
    _handler->objectStart(_parser, getKey(keySize));
    const char* cur = findToken(at + 1);
    if (cur != nullptr && *cur != '}') {
        while ((cur = readMember(cur)) != nullptr && *cur == ',') {
            if ((cur = findToken(cur + 1)) == nullptr)
                return nullptr;
        }
    }
    if (cur == nullptr || *cur != '}')
        return nullptr;
    --_depth;
    _handler->objectEnd(_parser);
    return cur + 1;
}

/// As `readText`, for a string of less than a block without escapes; null when it is another one.
inline const char* JsonReader::readShortText(const char* text, size_t offset, size_t& behind)
{
    char* const out = _scratch.getData() + offset;
    if (_end - text < ByteBlock::SIZE || _scratch.getEnd() - out < ByteBlock::SIZE)
        return nullptr;
    const ByteBlock block(text);
    const unsigned int plain = findQuoteOrBackslash(block);
    if (plain == ByteBlock::SIZE || text[plain] != '"')
        return nullptr;
    block.store(out);
    out[plain] = '\0';
    behind = offset + plain + 1;
    return text + plain + 1;
}

/// Key, colon, value, and on to the token behind.
inline const char* JsonReader::readMember(const char* at)
{
    if (*at != '"')
        return nullptr;
    // The key is copied out of the window: reading its value may refill that.
    size_t keySize = 0;
    const char* cur = readShortText(at + 1, 0, keySize);
    if (cur == nullptr)
        cur = readText(at + 1, 0, keySize);
    if (cur == nullptr || (cur = findToken(cur)) == nullptr || *cur != ':')
        return nullptr;
    if ((cur = findToken(cur + 1)) == nullptr || (cur = readValue(cur, keySize)) == nullptr)
        return nullptr;
    return findToken(cur);
}

inline const char* JsonReader::readArray(const char* at, size_t keySize)
{
    if (++_depth > MAX_DEPTH)
        return nullptr;
    _handler->arrayStart(_parser, getKey(keySize));
    const char* cur = findToken(at + 1);
    if (cur != nullptr && *cur != ']') {
        while ((cur = readValue(cur, 0)) != nullptr && (cur = findToken(cur)) != nullptr && *cur == ',') {
            if ((cur = findToken(cur + 1)) == nullptr)
                return nullptr;
        }
    }
    if (cur == nullptr || *cur != ']')
        return nullptr;
    --_depth;
    _handler->arrayEnd(_parser);
    return cur + 1;
}

inline const char* JsonReader::readString(const char* at, size_t keySize)
{
    const char* const text = at + 1;
    const char* cur = _window == nullptr ? nullptr : terminateInWindow(text);
    if (cur != nullptr) {
        _handler->onString(_parser, getKey(keySize), text);
        return cur;
    }
    size_t behind = 0;
    cur = readShortText(text, keySize, behind);
    if (cur == nullptr)
        cur = readText(text, keySize, behind);
    if (cur != nullptr)
        _handler->onString(_parser, getKey(keySize), _scratch.getData() + keySize);
    return cur;
}

/// A string that lies in our window as a whole, without escapes, is terminated where its closing quote was. Null when
/// it does not.
const char* JsonReader::terminateInWindow(const char* text)
{
    const char* cur = text;
    while (_end - cur >= ByteBlock::SIZE) {
        const unsigned int plain = findQuoteOrBackslash(ByteBlock(cur));
        if (plain < ByteBlock::SIZE) {
            cur += plain;
            break;
        }
        cur += ByteBlock::SIZE;
    }
    while (cur != _end && *cur != '"' && *cur != '\\')
        ++cur;
    if (cur == _end || *cur != '"')
        return nullptr;
    _window[cur - _window] = '\0';
    return cur + 1;
}

inline const char* JsonReader::readCodePoint(const char* cur, unsigned int& codePoint)
{
    unsigned int gathered = 0;
    for (int i = 0; i < 4; ++i, ++cur) {
        if ((cur = ensureByte(cur)) == nullptr)
            return nullptr;
        const int value = getHexValue(static_cast<unsigned char>(*cur));
        if (value < 0)
            return nullptr;
        gathered = gathered << 4 | static_cast<unsigned int>(value);
    }
    codePoint = gathered;
    return cur;
}

/// Reads what follows a backslash. Any byte without a meaning stands for itself.
inline const char* JsonReader::readEscape(const char* cur, char*& out)
{
    if ((cur = ensureByte(cur)) == nullptr)
        return nullptr;
    switch (*cur) {
    case 'b':
        *out++ = '\b';
        break;
    case 'f':
        *out++ = '\f';
        break;
    case 'n':
        *out++ = '\n';
        break;
    case 'r':
        *out++ = '\r';
        break;
    case 't':
        *out++ = '\t';
        break;
    case 'u': {
        unsigned int codePoint = 0;
        if ((cur = readCodePoint(cur + 1, codePoint)) != nullptr)
            out += Ostrel::convertUnicodeToUtf8(out, codePoint, MAX_UTF8_SIZE);
        return cur;
    }
    default:
        *out++ = *cur;
        break;
    }
    return cur + 1;
}

/// Reads up to and including the closing quote. The text is terminated and stands from `offset` to `behind` in the
/// scratch.
const char* JsonReader::readText(const char* cur, size_t offset, size_t& behind)
{
    const ptrdiff_t ROOM = ByteBlock::SIZE + MAX_UTF8_SIZE; // for a block, then for a character or the terminator
    char* out = _scratch.getData() + offset;
    for (;;) {
        if (_scratch.getEnd() - out < ROOM && !_scratch.grow(out))
            return nullptr;
        if (_end - cur >= ByteBlock::SIZE) {
            const ByteBlock block(cur);
            block.store(out);
            const unsigned int plain = findQuoteOrBackslash(block);
            if (plain == ByteBlock::SIZE) {
                cur += ByteBlock::SIZE;
                out += ByteBlock::SIZE;
                continue;
            }
            cur += plain;
            out += plain;
        } else if ((cur = ensureByte(cur)) == nullptr) {
            return nullptr;
        }
        const char byte = *cur++;
        if (byte == '"')
            break;
        if (byte != '\\') {
            *out++ = byte;
            continue;
        }
        char* place = out; // a copy, so that `out` itself needs no address and stays in a register
        if ((cur = readEscape(cur, place)) == nullptr)
            return nullptr;
        out = place;
    }
    *out++ = '\0';
    behind = static_cast<size_t>(out - _scratch.getData());
    return cur;
}

inline const char* JsonReader::readNumber(const char* at, size_t keySize)
{
    JsonNumber number;
    const char* token = at;
    const char* behindToken = number.scan(token, _end);
    const char* cur = behindToken;
    if (cur == _end && _input != nullptr) {
        // It may go on behind the window.
        size_t used = keySize;
        if ((cur = collectNumber(at, used)) == nullptr)
            return nullptr;
        token = _scratch.getData() + keySize;
        number = JsonNumber();
        behindToken = number.scan(token, _scratch.getData() + used);
    }
    if (number.kind == JsonNumber::INVALID)
        return nullptr;
    if (number.kind == JsonNumber::INTEGER) {
        _handler->onInteger(_parser, getKey(keySize), number.integer);
        return cur;
    }
    if (number.kind == JsonNumber::UNDECIDED || !_isPointDot) {
        if (!copyToken(keySize, token, static_cast<size_t>(behindToken - token)))
            return nullptr;
        number.real = strtod(_scratch.getData() + keySize, nullptr);
    }
    _handler->onDouble(_parser, getKey(keySize), number.real);
    return cur;
}

/// Reads a number byte by byte into the scratch, from `used` on. Where the window ends behind a number, the stream has
/// ended too, and the position returned is the end.
const char* JsonReader::collectNumber(const char* at, size_t& used)
{
    const char* cur = at;
    if (*cur == '-')
        cur = collectByte(cur, used);
    cur = collectDigits(cur, used);
    if (cur != nullptr && cur != _end && *cur == '.')
        cur = collectDigits(collectByte(cur, used), used);
    if (cur != nullptr && cur != _end && (*cur == 'e' || *cur == 'E')) {
        cur = collectByte(cur, used);
        if (cur != nullptr && (cur = ensureByte(cur)) != nullptr && (*cur == '+' || *cur == '-'))
            cur = collectByte(cur, used);
        cur = collectDigits(cur, used);
    }
    return cur;
}

/// At least one digit.
const char* JsonReader::collectDigits(const char* cur, size_t& used)
{
    const size_t before = used;
    while (cur != nullptr) {
        const char* const next = ensureByte(cur);
        if (next == nullptr || *next < '0' || *next > '9')
            return used == before ? nullptr : next == nullptr ? _end : next;
        cur = collectByte(next, used);
    }
    return nullptr;
}

const char* JsonReader::collectByte(const char* at, size_t& used)
{
    char* out = _scratch.getData() + used;
    if (out == _scratch.getEnd() && !_scratch.grow(out))
        return nullptr;
    *out = *at;
    ++used;
    return at + 1;
}

/// Puts a terminated copy into the scratch, where the token itself may already be.
bool JsonReader::copyToken(size_t offset, const char* token, size_t length)
{
    const bool isInScratch = token == _scratch.getData() + offset;
    char* out = _scratch.getData() + offset;
    while (static_cast<size_t>(_scratch.getEnd() - out) <= length) {
        if (!_scratch.grow(out))
            return false;
    }
    if (!isInScratch)
        memcpy(out, token, length);
    out[length] = '\0';
    return true;
}

} // namespace json
