#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "ostrel/DataObject.h"
#include "ostrel/Report.h"
#include "ostrel/internal/Narrowing.h"
#include "ostrel/internal/Nesting.h"

namespace Ostrel {

namespace {

// These reports go by the name of the class's main source. docs/reports.md lists them.
const char REPORTING_FILE[] = "ostrel/DataObject.cpp";

constexpr int LINE_KEY_BUFFER = 147;
constexpr int LINE_POINTER = 236;
constexpr int LINE_DIRECTIVE = 239;
constexpr int LINE_TEXT = 264;
constexpr int LINE_INTEGER = 281;
constexpr int LINE_NULL = 293;
constexpr int LINE_NESTING = 301;
constexpr int LINE_MAP = 332;
constexpr int LINE_KEY = 345;
constexpr int LINE_DUPLICATE = 349;

const size_t SHORT_TEXT = 64; ///< A shorter one is copied without the heap.

/// What the scalar reader found: the value itself, so that a key costs no node.
struct Scalar
{
    enum Kind { NONE, INTEGER, TEXT, NOTHING };

    static Scalar none() { return {NONE, 0, "", 0}; }
    static Scalar integer(long long number) { return {INTEGER, number, "", 0}; }
    static Scalar text(const char* text, size_t length) { return {TEXT, 0, text, length}; }
    static Scalar nothing() { return {NOTHING, 0, "", 0}; }

    Kind kind;
    long long number;
    const char* begin; ///< Of a text, which ends with a NUL or, in the format, with a quote.
    size_t length;
};

const char* copyTerminated(char* to, const Scalar& text)
{
    memcpy(to, text.begin, text.length);
    to[text.length] = '\0';
    return to;
}

AutoPtr<DataObject> makeText(const Scalar& text)
{
    if (text.begin[text.length] == '\0')
        return DataObject::createString(text.begin);
    if (text.length < SHORT_TEXT) {
        char copy[SHORT_TEXT];
        return DataObject::createString(copyTerminated(copy, text));
    }
    const AutoPtr<char[]> copy(new (std::nothrow) char[text.length + 1]);
    return copy == nullptr ? AutoPtr<DataObject>() : DataObject::createString(copyTerminated(copy.get(), text));
}

AutoPtr<DataObject> makeNode(const Scalar& scalar)
{
    switch (scalar.kind) {
    case Scalar::INTEGER:
        return DataObject::createInt(scalar.number);
    case Scalar::TEXT:
        return makeText(scalar);
    case Scalar::NOTHING:
        return AutoPtr<DataObject>(new (std::nothrow) NullDataObject);
    case Scalar::NONE:
        break;
    }
    return AutoPtr<DataObject>();
}

bool isWhiteSpace(char c)
{
    if (c >= ' ' && c < 0x7F) // the same in every locale, and nearly all that formats hold
        return c == ' ';
    return isspace(static_cast<unsigned char>(c)) != 0;
}

/// The end of the number at `text` if it is decimal and cannot overflow, as nearly all are; null for any other. Takes a
/// tenth off the time of a format.
const char* readShortDecimal(const char* text, long long& number)
{
    const int safeDigits = 18;

    const char* end = text;
    for (number = 0; *end >= '0' && *end <= '9' && end - text < safeDigits; ++end)
        number = number * 10 + (*end - '0');
    return *text == '0' || end - text == safeDigits ? nullptr : end;
}

/// Whether a quote before `c` closes its text.
bool endsText(char c)
{
    return c == ']' || c == '}' || c == ':' || c == ',' || c == '\0';
}

/// The text of a map's key, kept while the value is read.
class Key
{
public:
    /// Null when the scalar is no key.
    const char* assign(const Scalar& scalar)
    {
        if (scalar.kind == Scalar::TEXT)
            return assignText(scalar);
        // The smallest number stands for what is no number, so it is no key either.
        const int number = scalar.kind == Scalar::INTEGER ? toLow32Bits(scalar.number) : INT_MIN;
        return number == INT_MIN ? nullptr : assignNumber(number);
    }

private:
    static const unsigned int MAX_DIGITS = 16;

    const char* assignText(const Scalar& text)
    {
        if (text.length < SHORT_TEXT)
            return copyTerminated(_short, text);

        // Copied as the text of a value: one that is too long is reported alike, and is no key.
        _long = makeText(text);
        return _long == nullptr ? nullptr : _long->toString(nullptr);
    }

    const char* assignNumber(int number)
    {
        const int length = snprintf(_short, MAX_DIGITS, "%d", number);
        return OSTREL_CHECK_FROM(FATAL, REPORTING_FILE, LINE_KEY_BUFFER,
                                 "static_cast<unsigned int>(rc) < sizeof(keybuf)",
                                 static_cast<unsigned int>(length) < MAX_DIGITS)
                   ? _short
                   : nullptr;
    }

    char _short[SHORT_TEXT];
    AutoPtr<DataObject> _long;
};

/// Reads a format. Both cursors, in the format and in the arguments, are members: a `va_list` passed on by value would
/// start again at the same argument on some processors.
class FormatReader
{
public:
    FormatReader(const char* format, va_list arguments) : _cursor(format), _level(0) { va_copy(_arguments, arguments); }
    ~FormatReader() { va_end(_arguments); }
    FormatReader(const FormatReader&) = delete;
    FormatReader& operator=(const FormatReader&) = delete;

    AutoPtr<DataObject> readValue();

private:
    Scalar readScalar();
    Scalar readDirective();
    Scalar readText();
    Scalar readLongDirective();
    Scalar readQuotedText();
    Scalar readInteger();
    Scalar readNull();
    AutoPtr<DataObject> readCollection();
    AutoPtr<DataObject> readList();
    AutoPtr<DataObject> readMap();
    bool readEntry(DataObject& map);
    void skipWhiteSpace();
    void skipSeparator();
    bool isAtEndOf(char closing) const { return *_cursor == closing || *_cursor == '\0'; }

    const char* _cursor;
    unsigned int _level; ///< Number of open collections.
    va_list _arguments;
};

AutoPtr<DataObject> FormatReader::readValue()
{
    const Scalar scalar = readScalar();
    if (scalar.kind != Scalar::NONE)
        return makeNode(scalar);

    // Also behind a scalar with a fault: what it left over may be a collection.
    skipWhiteSpace();
    return *_cursor == '[' || *_cursor == '{' ? readCollection() : AutoPtr<DataObject>();
}

AutoPtr<DataObject> FormatReader::readCollection()
{
    if (_level >= MAX_NESTING) {
        OSTREL_REPORT_FROM(RECOVERABLE, REPORTING_FILE, LINE_NESTING, "Nested too deep (%s)", _cursor);
        _cursor += strlen(_cursor); // all is ended: the collections around would take what follows for theirs
        return AutoPtr<DataObject>();
    }
    ++_level;
    AutoPtr<DataObject> collection = *_cursor == '[' ? readList() : readMap();
    --_level;
    return collection;
}

Scalar FormatReader::readScalar()
{
    skipWhiteSpace();
    switch (*_cursor) {
    case '%':
        ++_cursor;
        return readDirective();
    case '\'':
        ++_cursor;
        return readQuotedText();
    case 'n':
        return readNull();
    default:
        // No sign: a negative number comes from a directive.
        return *_cursor >= '0' && *_cursor <= '9' ? readInteger() : Scalar::none();
    }
}

Scalar FormatReader::readDirective()
{
    switch (*_cursor) {
    case 'd':
        ++_cursor;
        return Scalar::integer(va_arg(_arguments, int));
    case 's':
        ++_cursor;
        return readText();
    case 'l':
        ++_cursor;
        return readLongDirective();
    case 'p':
        // The pointer stays among the arguments, and the next directive gets it: see docs/compatibility.md.
        ++_cursor;
        OSTREL_REPORT_FROM(RECOVERABLE, REPORTING_FILE, LINE_POINTER, "Not supported");
        return Scalar::none();
    default:
        // Framed here: at the end of the format the character ends the message, without what a frame puts behind it.
        reportMessage(Severity::RECOVERABLE, "%s:%d - 'Unexpected format char (%c)'", REPORTING_FILE, LINE_DIRECTIVE,
                      *_cursor);
        return Scalar::none();
    }
}

/// The text of the arguments; null counts as empty.
Scalar FormatReader::readText()
{
    const char* const text = va_arg(_arguments, const char*);
    return text == nullptr ? Scalar::text("", 0) : Scalar::text(text, strlen(text));
}

/// Behind the first "l". What is no directive ends behind its last "l".
Scalar FormatReader::readLongDirective()
{
    const bool isLongLong = *_cursor == 'l';
    if (isLongLong)
        ++_cursor;
    if (*_cursor != 'd')
        return Scalar::none();

    ++_cursor;
    return Scalar::integer(isLongLong ? va_arg(_arguments, long long) : va_arg(_arguments, long));
}

Scalar FormatReader::readQuotedText()
{
    const char* const text = _cursor;
    const char* quote = text;
    while (*quote != '\0' && !(*quote == '\'' && endsText(quote[1])))
        ++quote;
    if (*quote == '\0') {
        OSTREL_REPORT_FROM(RECOVERABLE, REPORTING_FILE, LINE_TEXT, "Invalid string format (%s)", text);
        return Scalar::none();
    }
    _cursor = quote + 1;
    return Scalar::text(text, static_cast<size_t>(quote - text));
}

Scalar FormatReader::readInteger()
{
    long long number = 0;
    const char* end = readShortDecimal(_cursor, number);
    if (end == nullptr) {
        char* stop = nullptr;
        errno = 0; // an old error would refuse a zero
        number = strtoll(_cursor, &stop, 0);
        end = stop;
        if (end == _cursor || (number == 0 && errno != 0)) {
            OSTREL_REPORT_FROM(RECOVERABLE, REPORTING_FILE, LINE_INTEGER, "Invalid integer format (%s)", _cursor);
            return Scalar::none();
        }
    }
    _cursor = end;
    return Scalar::integer(number);
}

Scalar FormatReader::readNull()
{
    for (const char* expected = "null"; *expected != '\0'; ++expected) {
        if (*_cursor != *expected) {
            OSTREL_REPORT_FROM(RECOVERABLE, REPORTING_FILE, LINE_NULL, "Unexpected characters (%s)", _cursor);
            if (*_cursor != '\0')
                ++_cursor;
            return Scalar::none();
        }
        ++_cursor;
    }
    return Scalar::nothing();
}

/// A list never fails: it ends where no value can be read.
AutoPtr<DataObject> FormatReader::readList()
{
    ++_cursor;
    AutoPtr<DataObject> list(new (std::nothrow) DataObjectList);
    if (list == nullptr)
        return list;

    while (!isAtEndOf(']')) {
        AutoPtr<DataObject> value = readValue();
        if (value == nullptr || list->append(std::move(value)) != 0)
            break;
        skipSeparator();
    }
    if (*_cursor == ']')
        ++_cursor;
    return list;
}

AutoPtr<DataObject> FormatReader::readMap()
{
    ++_cursor;
    AutoPtr<DataObject> map(new (std::nothrow) DataObjectMap);
    if (map == nullptr)
        return map;

    while (!isAtEndOf('}')) {
        if (!readEntry(*map)) {
            map.reset();
            OSTREL_REPORT_FROM(RECOVERABLE, REPORTING_FILE, LINE_MAP, "Invalid map input @ %s\n", _cursor);
            return map;
        }
    }
    // The cursor stays on the brace, which so ends the collection around it too: see docs/compatibility.md.
    return map;
}

bool FormatReader::readEntry(DataObject& map)
{
    Key storage;
    const char* const key = storage.assign(readScalar());
    if (key == nullptr) {
        OSTREL_REPORT_FROM(RECOVERABLE, REPORTING_FILE, LINE_KEY, "unable to parse key");
        return false;
    }
    if (map.has(key)) {
        OSTREL_REPORT_FROM(RECOVERABLE, REPORTING_FILE, LINE_DUPLICATE, "duplicate key: '%s'", key);
        return false;
    }
    skipWhiteSpace();
    if (*_cursor != ':')
        return false;

    ++_cursor;
    AutoPtr<DataObject> value = readValue();
    if (value == nullptr || map.set(key, std::move(value)) != 0)
        return false;
    skipSeparator();
    return true;
}

void FormatReader::skipWhiteSpace()
{
    while (isWhiteSpace(*_cursor))
        ++_cursor;
}

void FormatReader::skipSeparator()
{
    skipWhiteSpace();
    if (*_cursor == ',')
        ++_cursor;
}

} // namespace

AutoPtr<DataObject> DataObject::parse(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    AutoPtr<DataObject> value = vparse(format, arguments);
    va_end(arguments);
    return value;
}

AutoPtr<DataObject> DataObject::vparse(const char* format, va_list arguments)
{
    if (format == nullptr)
        return AutoPtr<DataObject>();
    return FormatReader(format, arguments).readValue();
}

int DataObject::append(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int code = append(vparse(format, arguments));
    va_end(arguments);
    return code;
}

int DataObject::set(const char* key, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int code = set(key, vparse(format, arguments));
    va_end(arguments);
    return code;
}

int DataObject::set(int index, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int code = set(index, vparse(format, arguments));
    va_end(arguments);
    return code;
}

} // namespace Ostrel
