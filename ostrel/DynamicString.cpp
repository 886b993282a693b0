#include "ostrel/DynamicString.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "ostrel/Report.h"
#include "ostrel/StringUtils.h"
#include "ostrel/internal/Utf8Bytes.h"

namespace Ostrel {

namespace {

const unsigned int MAX_BYTE_SIZE = 0x40000;

constexpr int LINE_COPY = 45;

/// A sum of sizes as a size. One beyond 32 bits stays far too large instead of wrapping to a small one.
unsigned int clampSize(uint64_t size)
{
    return size > UINT32_MAX ? UINT32_MAX : static_cast<unsigned int>(size);
}

/// Storage of another size, with what there was in it; null when it cannot be had, and the old one stays. Texts grow by
/// small steps, for which the block seldom has to move.
char* reallocateStorage(char* storage, unsigned int size)
{
    if (size > MAX_BYTE_SIZE) {
        OSTREL_REPORT(FATAL, "Requested string is far too large:  %zd\n", static_cast<size_t>(size));
        return nullptr;
    }
    return static_cast<char*>(realloc(storage, size));
}

/// Gives a string storage of another size and keeps `byteLength` bytes of its text, of which it has no fewer. False,
/// and nothing changed, when it cannot be had.
bool resize(const char*& data, unsigned int& byteSize, unsigned int size, unsigned int byteLength)
{
    const unsigned int kept = std::min(byteLength, byteSize);
    char* const storage = reallocateStorage(const_cast<char*>(data), size);
    if (storage == nullptr)
        return false;
    memset(storage + kept, 0, size - kept); // all of it, for callers that fill the storage themselves
    data = storage;
    byteSize = size;
    return true;
}

/// One text in the place of each occurrence of another, all at once.
///
/// Replacing one after the other counts bytes of the two as characters, which is exact where both are ASCII and no
/// continuation byte stands where a character should begin. Only such a replacement is made here; `isExact` says so.
class Replacement
{
public:
    Replacement(const char* text, unsigned int byteSize, const char* pattern, const char* replacement)
        : _text(text),
          _pattern(pattern),
          _replacement(replacement),
          _patternBytes(strlen(pattern)),
          _replacementBytes(strlen(replacement)),
          _byteLength(strlen(text)),
          _byteSize(byteSize)
    {
        _isExact = _byteLength < byteSize && !isContinuation(*text) && isOwnAscii(pattern) && isOwnAscii(replacement);
        for (const char* at = find(text); _isExact && at != nullptr; at = find(at + _patternBytes))
            count(at);
    }

    bool isExact() const { return _isExact; }
    bool isGrowing() const { return _replacementBytes > _patternBytes; }
    unsigned int getByteSize() const { return static_cast<unsigned int>(_byteSize); }

    /// To storage of `getByteSize`, which may be that of the text unless it is growing. The length of the result.
    size_t write(char* to) const
    {
        char* out = to;
        const char* from = _text;
        for (const char* at = find(from); at != nullptr; at = find(from)) {
            const size_t before = static_cast<size_t>(at - from);
            memmove(out, from, before);
            memcpy(out + before, _replacement, _replacementBytes);
            out += before + _replacementBytes;
            from = at + _patternBytes;
        }
        const size_t rest = strlen(from);
        memmove(out, from, rest);
        out[rest] = '\0';
        return static_cast<size_t>(out - to) + rest;
    }

private:
    const char* find(const char* from) const { return strstr(from, _pattern); }

    /// Not a part of the text, which changes.
    bool isOwnAscii(const char* part) const
    {
        if (part >= _text && part < _text + _byteSize)
            return false;
        for (; *part != '\0'; ++part) {
            if (static_cast<signed char>(*part) < 0)
                return false;
        }
        return true;
    }

    /// The storage grows as if each one had its turn.
    void count(const char* at)
    {
        const uint64_t shortened = _byteLength - _patternBytes;
        if (shortened + _replacementBytes >= _byteSize)
            _byteSize += _replacementBytes + 1;
        _byteLength = shortened + _replacementBytes;
        _isExact = _byteSize <= MAX_BYTE_SIZE && !isContinuation(at[_patternBytes]);
    }

    const char* _text;
    const char* _pattern;
    const char* _replacement;
    size_t _patternBytes;
    size_t _replacementBytes;
    uint64_t _byteLength;
    uint64_t _byteSize;
    bool _isExact;
};

} // namespace

DynamicString::DynamicString() : WritableString(nullptr, 0) {}

DynamicString::DynamicString(const char* src, unsigned int len) : WritableString(nullptr, 0)
{
    if (!OSTREL_CHECK(FATAL, "RC_OK == setByteSize(len + 1)", RC_OK == setByteSize(clampSize(uint64_t(len) + 1))))
        return;
    if (src != nullptr && len > 0)
        memcpy(getStorage(), src, strnlen(src, len)); // terminated: new storage is all 0
}

DynamicString::DynamicString(const ReadableString& orig) : WritableString(nullptr, 0)
{
    OSTREL_CHECK_AT(FATAL, LINE_COPY, "RC_OK == growAndAssign(orig)", RC_OK == growAndAssign(orig));
}

DynamicString::DynamicString(const DynamicString& orig) : DynamicString(static_cast<const ReadableString&>(orig)) {}

DynamicString::~DynamicString()
{
    free(getStorage());
}

DynamicString& DynamicString::operator=(const DynamicString& other)
{
    if (this != &other)
        OSTREL_CHECK(FATAL, "RC_OK == growAndAssign(other)", RC_OK == growAndAssign(other));
    return *this;
}

DynamicString::ReturnCode DynamicString::setByteSize(unsigned int size)
{
    if (size == 0) {
        install(nullptr, 0);
        return RC_OK;
    }
    return resize(_data, _byteSize, size, getFittingLength(getData(), size - 1)) ? RC_OK : RC_NO_SPACE;
}

void DynamicString::install(char* storage, unsigned int byteSize)
{
    free(getStorage());
    _data = storage;
    _byteSize = byteSize;
}

DynamicString::ReturnCode DynamicString::ensureFreeBytes(unsigned int count)
{
    return fits(getByteLength(), count) ? RC_OK : setByteSize(clampSize(_byteSize + uint64_t(count) + 1));
}

DynamicString::ReturnCode DynamicString::growAndAppend(const ReadableString& source)
{
    // Texts that come in many pieces are measured once for each.
    const unsigned int length = source.getByteLength();
    const unsigned int byteLength = getByteLength();
    if (!fits(byteLength, length) && !resize(_data, _byteSize, clampSize(_byteSize + uint64_t(length) + 1), byteLength))
        return append(source); // cuts
    replaceFrom(byteLength, source.getData(), length);
    return RC_OK;
}

DynamicString::ReturnCode DynamicString::growAndAssign(const ReadableString& source)
{
    const unsigned int length = source.getByteLength();
    if (!fits(0, length)) {
        // Without `setByteSize`: the old text need not move, and the new one leaves nothing to be set to 0.
        const unsigned int size = clampSize(uint64_t(length) + 1);
        char* const storage = reallocateStorage(nullptr, size);
        if (storage == nullptr)
            return RC_NO_SPACE;
        install(storage, size);
    }
    replaceFrom(0, source.getData(), length);
    return RC_OK;
}

int DynamicString::findAndReplace(const char* pattern, const char* replacement)
{
    if (pattern == nullptr || *pattern == '\0' || replacement == nullptr)
        return -1;
    int pos = find(pattern, 0);
    if (pos == -1)
        return -1;
    const Replacement all(getData(), _byteSize, pattern, replacement);
    if (all.isExact()) {
        char* const storage = all.isGrowing() ? reallocateStorage(nullptr, all.getByteSize()) : getStorage();
        if (storage != nullptr) {
            const size_t length = all.write(storage);
            if (all.isGrowing()) {
                memset(storage + length, 0, all.getByteSize() - length);
                install(storage, all.getByteSize());
            }
            return -1;
        }
    }
    const unsigned int patternBytes = static_cast<unsigned int>(strlen(pattern));
    const unsigned int replacementBytes = static_cast<unsigned int>(strlen(replacement));
    while (pos != -1) {
        const unsigned int index = static_cast<unsigned int>(pos);
        // Byte lengths used as character counts, here and for the next start: exact for ASCII, and kept for the rest.
        if (erase(index, patternBytes) != RC_OK && replacementBytes == 0)
            return -1; // stray continuation bytes at the start belong to no character: nothing would ever change
        ensureFreeBytes(replacementBytes);
        insert(index, replacement);
        const int next = convertCharToByteOffset(index + replacementBytes, getData());
        pos = next < 0 ? -1 : find(pattern, static_cast<unsigned int>(next));
    }
    return pos;
}

} // namespace Ostrel
