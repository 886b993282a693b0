#include "json/JsonData.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "json/JsonParser.h"
#include "json/internal/JsonBlock.h"

namespace json {

namespace {

bool isOpening(char c)
{
    return (c & BRACKET_MASK) == '[';
}

bool isClosing(char c)
{
    return (c & BRACKET_MASK) == ']';
}

bool isBlank(char c)
{
    return isspace(static_cast<unsigned char>(c)) != 0;
}

const char* skipBlanks(const char* p, const char* end)
{
    while (p != end && isBlank(*p))
        ++p;
    return p;
}

const char* find(const char* p, const char* end, char wanted)
{
    return static_cast<const char*>(memchr(p, wanted, static_cast<size_t>(end - p)));
}

/// Skips white space and a collection, if one starts there. Brackets inside strings count, and so may end it early:
/// see docs/compatibility.md.
const char* skipCollection(const char* p, const char* end)
{
    p = skipBlanks(p, end);
    if (p == end || !isOpening(*p))
        return p;

    int depth = 0;
    const auto closesAll = [&depth](char bracket) {
        depth += isOpening(bracket) ? 1 : -1;
        return depth < 1;
    };
    for (; end - p >= ByteBlock::SIZE; p += ByteBlock::SIZE) {
        const unsigned int position = findBracket(ByteBlock(p), [&](unsigned int i) { return closesAll(p[i]); });
        if (position != ByteBlock::SIZE)
            return p + position + 1;
    }
    for (; p != end; ++p) {
        if ((isOpening(*p) || isClosing(*p)) && closesAll(*p))
            return p + 1;
    }
    return p;
}

/// The first of two delimiters behind the value that starts at `p`; null when the text ends before.
const char* findValueEnd(const char* p, const char* end, char comma, char closing)
{
    for (p = skipCollection(p, end); p != end; ++p) {
        if (*p == comma || *p == closing)
            return p;
    }
    return nullptr;
}

JsonData makeView(const char* begin, const char* end)
{
    return end == nullptr ? JsonData::INVALID_JSON_DATA : JsonData(begin, static_cast<unsigned int>(end - begin));
}

/// Whether `strtol` or `strtof` failed. An error left over from earlier counts too: callers clear it.
bool isNumberError()
{
    return errno == ERANGE || errno == EINVAL;
}

/// A piece of a document may close more collections than it opens: such lines are not indented.
void indent(int level)
{
    for (int i = 0; i < level; ++i)
        fputs("  ", stdout);
}

void startLine(int level)
{
    putchar('\n');
    indent(level);
}

/// Whether a bracket of any kind comes next, behind white space and commas. The byte at `end` counts as well.
bool isBracketNext(const char* p, const char* end)
{
    while (p != end && (isBlank(*p) || *p == ','))
        ++p;
    return isOpening(*p) || isClosing(*p);
}

} // namespace

const JsonData JsonData::INVALID_JSON_DATA;
const JsonData JsonData::INVALID_STRING;
const float JsonData::INVALID_FLOAT = __builtin_nanf("");

JsonData JsonData::operator[](unsigned int index) const
{
    const char* const end = _data + _length;
    const char* p = skipBlanks(_data, end);
    if (p == end || *p != '[')
        return INVALID_JSON_DATA;

    for (++p; index > 0; --index) {
        p = findValueEnd(p, end, ',', ',');
        if (p == nullptr)
            return INVALID_JSON_DATA;
        ++p;
    }
    return makeView(p, findValueEnd(p, end, ',', ']'));
}

JsonData JsonData::operator()(const char* key) const
{
    const char* const end = _data + _length;
    const char* p = skipBlanks(_data, end);
    if (p == end || *p != '{' || key == nullptr)
        return INVALID_JSON_DATA;

    const size_t keyLength = strlen(key);
    for (;;) {
        const char* const open = find(p, end, '"');
        const char* const close = open == nullptr ? nullptr : find(open + 1, end, '"');
        if (close == nullptr)
            return INVALID_JSON_DATA;

        const size_t length = static_cast<size_t>(close - open - 1);
        if (length == keyLength && memcmp(open + 1, key, length) == 0) {
            const char* const colon = find(close, end, ':');
            return colon == nullptr ? INVALID_JSON_DATA : makeView(colon + 1, findValueEnd(colon + 1, end, ',', '}'));
        }
        // Keys inside the value are not ours.
        p = skipBlanks(close + 1, end);
        if (p != end && *p == ':')
            ++p;
        p = skipCollection(p, end);
    }
}

int JsonData::toInt() const
{
    if (!isValid())
        return INT_MIN;

    long long value = strtol(_data, nullptr, 0);
    if (value > INT_MAX || value < INT_MIN) { // only where long has 64 bits; the result is the same everywhere
        errno = ERANGE;
        value = value > 0 ? INT_MAX : INT_MIN;
    }
    return value == 0 && isNumberError() ? INT_MIN : static_cast<int>(value);
}

float JsonData::toFloat() const
{
    if (!isValid())
        return INVALID_FLOAT;

    const float value = strtof(_data, nullptr);
    return value == 0.0F && isNumberError() ? INVALID_FLOAT : value;
}

JsonData JsonData::toString() const
{
    // Not the end of the view but that of the text counts, as with numbers: a comma in a text cuts its view short.
    const char* const open = isValid() ? strchr(_data, '"') : nullptr;
    const char* const close = open == nullptr ? nullptr : strchr(open + 1, '"');
    return close == nullptr ? INVALID_STRING : makeView(open + 1, close);
}

void JsonData::print(const char* prefix) const
{
    const char* const end = _data + _length;
    const auto startLineOfValue = [end](const char* position, int level) {
        if (!isBracketNext(position, end))
            startLine(level);
    };

    int level = 0;
    for (const char* p = _data; p != end; ++p) {
        if (isOpening(*p)) {
            putchar('\n');
            if (prefix != nullptr)
                printf("%s: ", prefix);
            indent(level);
            putchar(*p);
            startLineOfValue(p + 1, ++level);
        } else if (isClosing(*p)) {
            startLine(--level);
            putchar(*p);
        } else if (*p == ',') {
            startLineOfValue(p + 1, level);
        } else if (!isBlank(*p)) {
            putchar(*p);
        }
    }
    putchar('\n');
}

int JsonData::validate()
{
    if (!isValid())
        return -1;

    JsonParser parser;
    const int code = parser.parse(_data, _length);
    if (code != 0)
        *this = INVALID_JSON_DATA;
    return code;
}

bool JsonData::isNextItemACollectionDelimiter(const char* position, const char* start, int length)
{
    return isBracketNext(position, start + length);
}

} // namespace json
