#include "ostrel/ReadableString.h"

#include <cstring>
#include <new>

#include "ostrel/Assert.h"
#include "ostrel/DynamicString.h"
#include "ostrel/Report.h"
#include "ostrel/StringUtils.h"

namespace Ostrel {

ReadableString::~ReadableString() = default;

unsigned int ReadableString::getByteLength() const
{
    return _data == nullptr ? 0 : static_cast<unsigned int>(strlen(_data));
}

unsigned int ReadableString::getLength() const
{
    return getUtf8Length(_data);
}

int ReadableString::find(const ReadableString& pattern, unsigned int startByte) const
{
    if (startByte >= getByteLength())
        return -1;
    const char* const match = strstr(_data + startByte, pattern._data == nullptr ? "" : pattern._data);
    if (match == nullptr)
        return -1;
    return convertByteToCharOffset(static_cast<unsigned int>(match - _data), _data);
}

bool ReadableString::operator==(const ReadableString& other) const
{
    return strcmp(_data == nullptr ? "" : _data, other._data == nullptr ? "" : other._data) == 0;
}

char* ReadableString::substr(char* dest, size_t destSize, size_t pos, size_t length) const
{
    if (dest == nullptr || _data == nullptr)
        return nullptr;
    const size_t byteLength = getByteLength();
    if (length == 0) {
        OSTREL_ASSERT(destSize > byteLength - pos);
    } else {
        OSTREL_ASSERT(destSize > length);
    }
    OSTREL_ASSERT_TEXT(pos == 0 || pos < byteLength, "pos < byteLength");

    // The first character's length serves for all: see docs/compatibility.md.
    const int tableLength = CHAR_LEN_TABLE[static_cast<unsigned char>(_data[pos])];
    const size_t characterLength = tableLength < 1 ? 0 : static_cast<size_t>(tableLength);
    char* to = dest;
    for (; length > 0; --length) {
        if (characterLength == 0 || characterLength > byteLength - pos || characterLength > destSize)
            break;
        memcpy(to, _data + pos, characterLength);
        to += characterLength;
        pos += characterLength;
        destSize -= characterLength;
        if (destSize == 0)
            return dest;
    }
    *to = '\0';
    return dest;
}

int ReadableString::substr(WritableString* dest, size_t pos, size_t length) const
{
    if (dest == nullptr || _data == nullptr)
        return 0;
    const size_t byteLength = getByteLength();
    if (dest->getByteSize() > 0) {
        // Goes on only when the request is at least as large as the free room, which reads as if meant the other
        // way round: see docs/compatibility.md. A text that leaves no byte for its terminator takes nothing.
        const unsigned int used = dest->getByteLength() + 1;
        if (used > dest->getByteSize())
            return 0;
        const size_t freeBytes = dest->getByteSize() - used;
        if ((length == 0 ? byteLength - pos : length) < freeBytes)
            return 0;
    }
    if ((pos >= byteLength && pos != 0) || length >= byteLength)
        return 0;
    for (; length > 0 && pos < byteLength; --length) {
        const char byte[] = {_data[pos++], '\0'};
        const ReturnCode code = dest->append(byte);
        OSTREL_ASSERT_TEXT(code == RC_OK, "RC_OK == dest->append(_data[currPos++])");
    }
    return 1;
}

int ReadableString::substr(DynamicString* dest, size_t pos, size_t length) const
{
    if (dest == nullptr || _data == nullptr)
        return 0;
    const size_t byteLength = getByteLength();
    // Unlike above, a whole text may be taken, but only from its start.
    if (pos == 0 ? length > byteLength : pos >= byteLength || length >= byteLength)
        return 0;
    for (; length > 0 && pos < byteLength; --length) {
        const char byte[] = {_data[pos++], '\0'};
        const ReturnCode code = dest->growAndAppend(byte);
        OSTREL_ASSERT_TEXT(code == RC_OK, "RC_OK == dest->growAndAppend(tempString)");
    }
    return 1;
}

ReadableString::ReturnCode ReadableString::storeSubstring(WeakPtr<WritableString> dest, unsigned int index,
                                                          unsigned int count) const
{
    const unsigned int characters = getLength();
    if (index >= characters)
        return RC_INVALID_INDEX;
    if (count > characters - index)
        return RC_OUT_OF_RANGE;

    const int startOffset = convertCharToByteOffset(index, _data);
    const int endOffset = convertCharToByteOffset(count == 0 ? characters : index + count, _data);
    if (!OSTREL_CHECK(FATAL, "startOffset >= 0", startOffset >= 0))
        return RC_INVALID_INDEX;
    if (!OSTREL_CHECK(FATAL, "endOffset >= 0", endOffset >= 0))
        return RC_INVALID_INDEX;
    WritableString* const target = dest.require();
    if (target == nullptr)
        return RC_NO_SPACE;

    const unsigned int bytes = static_cast<unsigned int>(endOffset - startOffset);
    if (!target->fits(0, bytes)) {
        DynamicString* const growing = dynamic_cast<DynamicString*>(target);
        if (growing == nullptr)
            return RC_OUT_OF_RANGE;
        const ReturnCode code = growing->ensureFreeBytes(bytes + 1);
        if (code != RC_OK)
            return code;
    }
    target->replaceFrom(0, _data + startOffset, bytes);
    return RC_OK;
}

AutoPtr<DynamicString> ReadableString::substring(unsigned int index, unsigned int count) const
{
    AutoPtr<DynamicString> result(new (std::nothrow) DynamicString);
    storeSubstring(result, index, count);
    return result;
}

} // namespace Ostrel
