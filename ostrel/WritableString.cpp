#include "ostrel/WritableString.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "ostrel/Assert.h"
#include "ostrel/DynamicString.h"
#include "ostrel/StringUtils.h"
#include "ostrel/internal/Utf8Bytes.h"

namespace Ostrel {

namespace {

/// `memmove` that takes a null source with nothing in it.
void moveBytes(char* to, const char* from, size_t count)
{
    if (count > 0)
        memmove(to, from, count);
}

bool isBlank(char c)
{
    return isspace(static_cast<unsigned char>(c)) != 0;
}

} // namespace

WritableString::WritableString(char* storage, unsigned int byteSize)
    : ReadableString(byteSize == 0 ? nullptr : storage), // without room for a terminator none is looked for
      _byteSize(storage == nullptr ? 0 : byteSize)
{}

WritableString::~WritableString() = default;

WritableString::ReturnCode WritableString::assign(const ReadableString& source)
{
    const unsigned int length = source.getByteLength();
    if (!fits(0, length))
        return insert(0, source); // cuts
    replaceFrom(0, source.getData(), length);
    return RC_OK;
}

WritableString::ReturnCode WritableString::insert(unsigned int index, const ReadableString& source)
{
    if (_byteSize == 0)
        return RC_NO_SPACE;
    const unsigned int byteLength = getByteLength();
    const int position =
        index == getLength() ? static_cast<int>(byteLength) : convertCharToByteOffset(index, getData());
    if (position < 0)
        return RC_INVALID_INDEX;

    return insertAt(static_cast<unsigned int>(position), byteLength, source.getData(), source.getByteLength());
}

WritableString::ReturnCode WritableString::append(const ReadableString& source)
{
    if (_byteSize == 0)
        return RC_NO_SPACE;
    const unsigned int byteLength = getByteLength();
    return insertAt(byteLength, byteLength, source.getData(), source.getByteLength());
}

WritableString::ReturnCode WritableString::insertAt(unsigned int offset, unsigned int byteLength, const char* source,
                                                    unsigned int sourceLength)
{
    if (sourceLength == 0)
        return RC_OK; // the terminator stays where it is, be it behind the storage
    if (offset >= _byteSize - 1)
        return RC_NO_SPACE; // nothing fits there, and a text that fills the storage ends behind it

    const unsigned int room = _byteSize - 1 - offset;
    const unsigned int tailLength = byteLength - offset;
    char* const gap = getStorage() + offset;
    unsigned int inserted = sourceLength;
    unsigned int kept = tailLength;
    if (sourceLength > room) {
        inserted = getFittingLength(source, room); // may be 0; the tail, if there is one, goes all the same
        kept = 0;
    } else if (tailLength > room - sourceLength) {
        kept = getFittingLength(gap, room - sourceLength); // the old tail gives way first
    }
    moveBytes(gap + inserted, gap, kept);
    moveBytes(gap, source, inserted);
    gap[inserted + kept] = '\0';
    return inserted == sourceLength && kept == tailLength ? RC_OK : RC_NO_SPACE;
}

WritableString::ReturnCode WritableString::erase(unsigned int index, unsigned int numChars)
{
    const unsigned int characters = getLength();
    if (index >= characters)
        return RC_INVALID_INDEX;
    if (numChars == 0)
        return RC_OK; // the general case would terminate behind the storage

    const int indexOffset = convertCharToByteOffset(index, getData());
    OSTREL_ASSERT(indexOffset >= 0);
    const unsigned int offset = static_cast<unsigned int>(indexOffset);
    if (offset >= _byteSize)
        return RC_INVALID_INDEX; // of a text that runs on behind the storage
    char* const to = getStorage() + offset;
    if (numChars >= characters - index) {
        *to = '\0';
        return RC_OK;
    }
    const int numCharsOffset = convertCharToByteOffset(index + numChars, getData());
    OSTREL_ASSERT(numCharsOffset >= 0);
    const unsigned int from = static_cast<unsigned int>(numCharsOffset);
    const unsigned int rest = from < _byteSize ? _byteSize - from : 0;
    moveBytes(to, getStorage() + from, rest);
    to[rest] = '\0';
    return RC_OK;
}

void WritableString::trim()
{
    if (_byteSize == 0)
        return;
    const char* begin = getData();
    const char* end = begin + strnlen(begin, _byteSize);
    while (begin < end && isBlank(*begin))
        ++begin;
    while (begin < end && isBlank(end[-1]))
        --end;
    const unsigned int length = static_cast<unsigned int>(end - begin);
    if (fits(0, length))
        replaceFrom(0, begin, length);
}

WritableString::ReturnCode WritableString::assignv(const char* format, va_list arguments)
{
    if (_byteSize == 0)
        return RC_NO_SPACE;
    const int length = vsnprintf(getStorage(), _byteSize, format, arguments);
    if (length >= 0 && static_cast<unsigned int>(length) < _byteSize)
        return RC_OK;

    // The terminator that vsnprintf left hides whether it split a character, so the last lead is asked.
    const char* const end = getData() + _byteSize - 1;
    const char* const last = length < 0 ? nullptr : getPreviousChar(end, getData());
    if (last == nullptr) {
        *getStorage() = '\0';
        return RC_NO_SPACE;
    }
    const int lastLength = CHAR_LEN_TABLE[static_cast<unsigned char>(*last)];
    if (lastLength < 1 || lastLength > end - last)
        getStorage()[last - getData()] = '\0';
    return RC_NO_SPACE;
}

WritableString::ReturnCode WritableString::assignFormat(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const ReturnCode code = assignv(format, arguments);
    va_end(arguments);
    return code;
}

WritableString::ReturnCode WritableString::insertv(unsigned int index, const char* format, va_list arguments)
{
    // Characters against bytes: the room for the formatted text is an estimate that `insert` corrects.
    if (index >= _byteSize)
        return RC_INVALID_INDEX;
    DynamicString formatted;
    if (formatted.setByteSize(_byteSize - index) != RC_OK)
        return RC_NO_SPACE;
    const ReturnCode code = formatted.assignv(format, arguments);
    return code != RC_OK ? code : insert(index, formatted);
}

WritableString::ReturnCode WritableString::insertFormat(unsigned int index, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const ReturnCode code = insertv(index, format, arguments);
    va_end(arguments);
    return code;
}

WritableString::ReturnCode WritableString::appendFormat(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const ReturnCode code = insertv(getLength(), format, arguments);
    va_end(arguments);
    return code == RC_INVALID_INDEX ? RC_NO_SPACE : code;
}

} // namespace Ostrel
