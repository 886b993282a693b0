#include "json/internal/JsonReader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "json/internal/JsonBlock.h"
#include "json/internal/JsonNumber.h"
#include "ostrel/StringUtils.h"
#include "ostrel/internal/FixedPoint.h"

namespace json {

namespace {

const unsigned int MAX_UTF8_SIZE = 6;
const int LONGEST_LITERAL = 5;
const int SMALL_INDENTATION = 7;

OSTREL_BLOCK_STEP bool isBlank(char byte)
{
    return byte == ' ' || byte == '\n' || byte == '\t' || byte == '\r';
}

/// Passes spaces by whole words, where there are any. Without vectors this is the cheapest way through an indentation.
OSTREL_BLOCK_STEP const char* skipSpaces(const char* cur, const char* end)
{
    const uint32_t SPACES = 0x20202020;
    while (end - cur >= static_cast<ptrdiff_t>(sizeof(SPACES)) && Ostrel::loadU32(cur) == SPACES)
        cur += sizeof(SPACES);
    return cur;
}

int getHexValue(unsigned char byte)
{
    if (byte >= '0' && byte <= '9')
        return byte - '0';
    const int letter = byte | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

} // namespace

JsonReader::JsonReader(JsonParser* parser, JsonParser::EventHandler* handler, const char* data, size_t length)
    : _parser(parser),
      _handler(handler),
      _end(data + length),
      _start(data),
      _input(nullptr),
      _window(nullptr),
      _windowSize(0),
      _isPointDot(Ostrel::isLocalePointDot())
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
      _isPointDot(Ostrel::isLocalePointDot())
{}

int JsonReader::read()
{
    const char* cur = findToken(_start);
    cur = cur != nullptr ? readValue(cur, 0) : failAtEnd(JsonError::NO_VALUE);
    if (_depth > MAX_DEPTH)
        return JSON_DEPTH_EXCEEDED;
    if (cur == nullptr)
        return JSON_INVALID_DATA;
    cur = findToken(cur);
    if (cur == nullptr)
        return JSON_OK;
    fail(cur, JsonError::EXCESS_DATA);
    return JSON_EXCESS_DATA;
}

/// The window anew, null when the stream has ended. One that failed has ended too, and it is not asked again: a
/// non-blocking one could have more data by then.
const char* JsonReader::refill()
{
    if (_input == nullptr)
        return nullptr;
    // Now, while they are still there: the stream gives them only once.
    _startPlace.advance(_window, _end);
    _end = _window;
    // A source that claims more than it was asked for must not lead us behind the window.
    const int count =
        std::min(_input->read(reinterpret_cast<unsigned char*>(_window), _windowSize), static_cast<int>(_windowSize));
    if (count <= 0) {
        _input = nullptr;
        _hasSourceFailed = count < 0;
        return nullptr;
    }
    _end = _window + count;
    return _window;
}

/// Notes why the parse fails at `at`; null there stands for the end of the input, and the reason is then `atEnd`. Null,
/// for the step to return.
const char* JsonReader::fail(const char* at, JsonError::Reason reason, JsonError::Reason atEnd)
{
    JsonPlace place = _startPlace;
    place.advance(_start, at != nullptr ? at : _end);
    if (at == nullptr)
        reason = _hasSourceFailed ? JsonError::SOURCE_FAILED : atEnd;
    _error = {reason, place.offset, place.line, place.column};
    return nullptr;
}

/// For a literal that is known to differ where all of its bytes are there.
const char* JsonReader::failLiteral(const char* at, const char* literal)
{
    while (*at == *literal) {
        ++at;
        ++literal;
    }
    return fail(at, JsonError::WRONG_LITERAL);
}

/// For the value at `at` that is no number, of which `length` bytes, which stand at `token`, could be one.
const char* JsonReader::failNumber(const char* at, const char* token, size_t length, const char* behind, size_t keySize)
{
    if (length == 0) {
        // An array that ends at once does not get here.
        const bool isArrayEnd = *at == ']' && keySize == 0 && _depth > 0;
        return fail(at, isArrayEnd ? JsonError::TRAILING_COMMA : JsonError::EXPECTED_VALUE);
    }
    const char last = token[length - 1];
    if (last < '0' || last > '9')
        return fail(behind != _end ? behind : nullptr, JsonError::EXPECTED_DIGIT, JsonError::END_IN_NUMBER);
    // Its begin may have left the window, but it has only one line and bytes that are characters.
    fail(behind, JsonError::NUMBER_OUT_OF_RANGE);
    _error.offset -= length;
    _error.column -= length;
    return nullptr;
}

// The steps below are inline, though large, so that the compiler may merge them along the descent.

/// The first byte that is no white space; null when there is none.
__attribute__((always_inline)) inline const char* JsonReader::findToken(const char* cur)
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
    if (sizeof(ByteBlock) == sizeof(Ostrel::WordBlock))
        return skipBlanksByWords(cur);
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

/// As `skipBlanks`, without vectors.
inline const char* JsonReader::skipBlanksByWords(const char* cur)
{
    for (; cur != nullptr; cur = refill()) {
        for (cur = skipSpaces(cur, _end); cur != _end; cur = skipSpaces(cur + 1, _end)) {
            if (!isBlank(*cur))
                return cur;
        }
    }
    return nullptr;
}

/// The position behind `wanted`, which is to be the token at `cur`. A null `cur` is the end.
__attribute__((always_inline)) inline const char* JsonReader::expect(const char* cur, char wanted,
                                                                     JsonError::Reason reason, JsonError::Reason atEnd)
{
    return cur != nullptr && *cur == wanted ? cur + 1 : fail(cur, reason, atEnd);
}

/// `at` is known to hold the literal's first byte.
inline const char* JsonReader::readLiteral(const char* at, const char* literal, size_t length)
{
    if (_end - at >= LONGEST_LITERAL) {
        // The last four bytes are all but the first one, which is known, or all; their number makes it one comparison.
        const char* const behind = at + length;
        return memcmp(behind - 4, literal + length - 4, 4) == 0 ? behind : failLiteral(at, literal);
    }
    const char* cur = at;
    for (const char* const end = literal + length; literal != end; ++literal, ++cur) {
        cur = ensureByte(cur);
        if (cur == nullptr || *cur != *literal)
            return fail(cur, JsonError::WRONG_LITERAL, JsonError::END_IN_LITERAL);
    }
    return cur;
}

const char* JsonReader::readValue(const char* at, size_t keySize)
{
    const char* cur = nullptr;
    switch (*at) {
    case '{':
        return readCollection<OBJECT>(at, keySize);
    case '[':
        return readCollection<ARRAY>(at, keySize);
    case '"':
        return readString(at, keySize);
    case 't':
        cur = readLiteral(at, "true", 4);
        if (cur != nullptr)
            _handler->onBoolean(_parser, getKey(keySize), true);
        return cur;
    case 'f':
        cur = readLiteral(at, "false", 5);
        if (cur != nullptr)
            _handler->onBoolean(_parser, getKey(keySize), false);
        return cur;
    case 'n':
        cur = readLiteral(at, "null", 4);
        if (cur != nullptr)
            _handler->onNull(_parser, getKey(keySize));
        return cur;
    default:
        return readNumber(at, keySize);
    }
}

template <JsonReader::Collection KIND>
inline const char* JsonReader::readCollection(const char* at, size_t keySize)
{
    // A collection that lies too deep stays counted, which is how `read` knows.
    if (++_depth > MAX_DEPTH)
        return fail(at, JsonError::TOO_DEEP);
    if (KIND == OBJECT) {
        _handler->objectStart(_parser, getKey(keySize));
    } else {
        _handler->arrayStart(_parser, getKey(keySize));
    }
    const char* const behind = readElements<KIND>(at + 1);
    if (behind == nullptr)
        return nullptr;
    --_depth;
    if (KIND == OBJECT) {
        _handler->objectEnd(_parser);
    } else {
        _handler->arrayEnd(_parser);
    }
    return behind;
}

/// Members or values, the commas between them and the closing bracket. In line by force: it is half of the descent.
template <JsonReader::Collection KIND>
__attribute__((always_inline)) inline const char* JsonReader::readElements(const char* cur)
{
    const char closing = KIND == OBJECT ? '}' : ']';
    const JsonError::Reason wrong =
        KIND == OBJECT ? JsonError::EXPECTED_COMMA_OR_BRACE : JsonError::EXPECTED_COMMA_OR_BRACKET;
    const JsonError::Reason atEnd = KIND == OBJECT ? JsonError::END_IN_OBJECT : JsonError::END_IN_ARRAY;
    cur = findToken(cur);
    if (cur == nullptr || *cur == closing)
        return expect(cur, closing, wrong, atEnd);
    for (;;) {
        cur = KIND == OBJECT ? readMember(cur) : readValue(cur, 0);
        if (cur == nullptr)
            return nullptr;
        cur = findToken(cur);
        if (cur == nullptr || *cur != ',')
            return expect(cur, closing, wrong, atEnd);
        cur = findToken(cur + 1);
        if (cur == nullptr)
            return failAtEnd(atEnd);
    }
}

/// Key, colon and value.
inline const char* JsonReader::readMember(const char* at)
{
    if (*at != '"') // an object that ends at once does not get here
        return fail(at, *at == '}' ? JsonError::TRAILING_COMMA : JsonError::EXPECTED_KEY);
    // The key is copied out of the window: reading its value may refill that.
    size_t keySize = 0;
    const char* cur = readText(at + 1, 0, keySize);
    if (cur == nullptr)
        return nullptr;
    cur = expect(findToken(cur), ':', JsonError::EXPECTED_COLON, JsonError::END_IN_OBJECT);
    if (cur == nullptr)
        return nullptr;
    cur = findToken(cur);
    return cur == nullptr ? failAtEnd(JsonError::END_IN_OBJECT) : readValue(cur, keySize);
}

inline const char* JsonReader::readString(const char* at, size_t keySize)
{
    const char* const text = at + 1;
    const char* const plainEnd = _window == nullptr ? _end : findPlainEnd(text);
    if (plainEnd != _end && *plainEnd == '"') {
        // It lies in our window as a whole and may stay there.
        _window[plainEnd - _window] = '\0';
        _handler->onString(_parser, getKey(keySize), text);
        return plainEnd + 1;
    }
    size_t behind = 0;
    const char* const cur = readText(text, keySize, behind);
    if (cur != nullptr)
        _handler->onString(_parser, getKey(keySize), _scratch.getData() + keySize);
    return cur;
}

/// The first quote or backslash; the end of the window when there is none.
const char* JsonReader::findPlainEnd(const char* cur) const
{
    for (; _end - cur >= ByteBlock::SIZE; cur += ByteBlock::SIZE) {
        const unsigned int plain = findQuoteOrBackslash(ByteBlock(cur));
        if (plain < ByteBlock::SIZE)
            return cur + plain;
    }
    while (cur != _end && *cur != '"' && *cur != '\\')
        ++cur;
    return cur;
}

/// Reads up to and including the closing quote. The text is terminated and stands from `offset` to `behind` in the
/// scratch.
inline const char* JsonReader::readText(const char* text, size_t offset, size_t& behind)
{
    // Most keys and texts end within one block and have no escapes: for those no loop is set up.
    char* const out = _scratch.getData() + offset;
    if (_end - text < ByteBlock::SIZE || !_scratch.hasRoom(out, ByteBlock::SIZE))
        return readLongText(text, offset, behind);
    const ByteBlock block(text);
    const unsigned int plain = findQuoteOrBackslash(block);
    if (plain == ByteBlock::SIZE || text[plain] != '"')
        return readLongText(text, offset, behind);
    block.store(out);
    out[plain] = '\0';
    behind = offset + plain + 1;
    return text + plain + 1;
}

/// As `readText`, for any text.
const char* JsonReader::readLongText(const char* cur, size_t offset, size_t& behind)
{
    char* out = _scratch.getData() + offset;
    for (;;) {
        cur = copyPlain(cur, out);
        if (cur == nullptr)
            return nullptr;
        if (*cur == '"')
            break;
        cur = readEscape(cur + 1, out);
        if (cur == nullptr)
            return nullptr;
    }
    *out++ = '\0';
    behind = static_cast<size_t>(out - _scratch.getData());
    return cur + 1;
}

/// Copies what stands before the next quote or backslash, and leaves room for a character or the terminator.
inline const char* JsonReader::copyPlain(const char* cur, char*& out)
{
    for (;;) {
        out = _scratch.makeRoom(out, ByteBlock::SIZE + MAX_UTF8_SIZE);
        if (out == nullptr)
            return fail(cur, JsonError::OUT_OF_MEMORY);
        if (_end - cur >= ByteBlock::SIZE) {
            const ByteBlock block(cur);
            block.store(out);
            const unsigned int plain = findQuoteOrBackslash(block);
            cur += plain;
            out += plain;
            if (plain < ByteBlock::SIZE)
                return cur;
        } else {
            cur = ensureByte(cur);
            if (cur == nullptr)
                return failAtEnd(JsonError::END_IN_TEXT);
            if (*cur == '"' || *cur == '\\')
                return cur;
            *out++ = *cur++;
        }
    }
}

inline const char* JsonReader::readCodePoint(const char* cur, unsigned int& codePoint)
{
    unsigned int gathered = 0;
    for (int i = 0; i < 4; ++i, ++cur) {
        cur = ensureByte(cur);
        if (cur == nullptr)
            return failAtEnd(JsonError::END_IN_TEXT);
        const int value = getHexValue(static_cast<unsigned char>(*cur));
        if (value < 0)
            return fail(cur, JsonError::WRONG_ESCAPE);
        gathered = gathered << 4 | static_cast<unsigned int>(value);
    }
    codePoint = gathered;
    return cur;
}

/// Reads what follows a backslash. Any byte without a meaning stands for itself.
inline const char* JsonReader::readEscape(const char* cur, char*& out)
{
    cur = ensureByte(cur);
    if (cur == nullptr)
        return failAtEnd(JsonError::END_IN_TEXT);
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
        cur = readCodePoint(cur + 1, codePoint);
        if (cur != nullptr)
            out += Ostrel::convertUnicodeToUtf8(out, codePoint, MAX_UTF8_SIZE);
        return cur;
    }
    default:
        *out++ = *cur;
        break;
    }
    return cur + 1;
}

inline const char* JsonReader::readNumber(const char* at, size_t keySize)
{
    JsonNumber number;
    const char* token = at;
    const char* behind = number.scan(at, _end);
    size_t collected = 0; // apart from `behind - at`, which then stays in a register
    if (behind == _end && _input != nullptr) {
        // It may go on behind the window.
        behind = collectNumber(at, keySize, collected);
        if (behind == nullptr)
            return nullptr;
        token = _scratch.getData() + keySize;
        number.scan(token, token + collected);
    }
    if (number.kind == JsonNumber::INVALID)
        return failNumber(at, token, token == at ? static_cast<size_t>(behind - at) : collected, behind, keySize);
    if (number.kind == JsonNumber::INTEGER) {
        _handler->onInteger(_parser, getKey(keySize), number.integer);
        return behind;
    }
    if (number.kind == JsonNumber::UNDECIDED || !_isPointDot) {
        if (token == at && !_scratch.put(keySize, at, static_cast<size_t>(behind - at)))
            return fail(at, JsonError::OUT_OF_MEMORY);
        number.real = strtod(_scratch.getData() + keySize, nullptr);
    }
    _handler->onDouble(_parser, getKey(keySize), number.real);
    return behind;
}

/// Copies a number that may go on behind the window into the scratch. Where the stream ends with it, the position
/// returned is the end.
const char* JsonReader::collectNumber(const char* at, size_t offset, size_t& length)
{
    JsonNumberBytes number;
    char* out = _scratch.getData() + offset;
    const char* cur = at;
    while (cur != nullptr && number.takes(*cur)) {
        out = _scratch.makeRoom(out, 2); // for the terminator too
        if (out == nullptr)
            return fail(cur, JsonError::OUT_OF_MEMORY);
        *out++ = *cur;
        cur = ensureByte(cur + 1);
    }
    *out = '\0';
    length = static_cast<size_t>(out - _scratch.getData()) - offset;
    return cur == nullptr ? _end : cur;
}

} // namespace json
