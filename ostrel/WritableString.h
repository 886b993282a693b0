#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "ostrel/ReadableString.h"

namespace Ostrel {

/// UTF-8 text in storage of fixed size that the caller supplies. What does not fit is cut between two characters.
///
/// Use `FixedString` where the storage may be part of the object, `DynamicString` where it has to grow.
///
///     char storage[16] = "";
///     WritableString name(storage, sizeof(storage));
///     name.assignFormat("worker %d", 1);
///
/// Units:     indexes and counts are characters; the byte size counts the terminator.
/// Ownership: the storage stays the caller's and outlives the object. A source text must not lie in it.
/// Errors:    a `ReturnCode`. After `RC_NO_SPACE` the text holds what fits; after other failures it is unchanged.
class OSTREL_EXPORT WritableString : public ReadableString
{
public:
    /// `storage` holds a terminated text already. Byte size 0 stands for no storage. A terminator that lies behind the
    /// storage is read, but nothing is ever written there.
    WritableString(char* storage, unsigned int byteSize);
    ~WritableString() override;
    WritableString(const WritableString&) = delete; // would share the storage
    WritableString& operator=(const WritableString&) = delete;

    ReturnCode assign(const ReadableString& source); ///< `RC_NO_SPACE` when cut, or without storage.

    /// Inserts at character `index`, which may be the length. When all does not fit, the tail is cut first, then the
    /// source: `RC_NO_SPACE`. `RC_INVALID_INDEX` beyond the length.
    ReturnCode insert(unsigned int index, const ReadableString& source);

    /// Removes `numChars` characters, or all from `index` on when there are fewer. `RC_INVALID_INDEX` from the length
    /// on.
    ReturnCode erase(unsigned int index, unsigned int numChars);

    void trim(); ///< Removes the white space (`isspace`) at both ends.

    /// All take a format as `vsnprintf`. `RC_NO_SPACE` when cut, or without storage.
    ReturnCode assignv(const char* format, va_list arguments);
    ReturnCode assignFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// All format, then insert. The formatted text may have as many bytes as the byte size exceeds `index`, terminator
    /// included: otherwise nothing is inserted and `RC_NO_SPACE` returned, as when memory is exhausted.
    /// `RC_INVALID_INDEX` when `index` reaches the byte size or exceeds the length. It is formatted in a
    /// `DynamicString`: where the byte size exceeds `index` by more than 262,144, that gets no storage, so that nothing
    /// is ever inserted and its fatal report is made.
    ReturnCode insertv(unsigned int index, const char* format, va_list arguments);
    ReturnCode insertFormat(unsigned int index, const char* format, ...) __attribute__((format(printf, 3, 4)));

    /// `insertv` at the end, with its limits; `RC_NO_SPACE` also where that gives `RC_INVALID_INDEX`.
    ReturnCode appendFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));

    unsigned int getByteSize() const { return _byteSize; }

protected:
    /// What `_data` points at, which is writable in this class and those derived from it.
    char* getStorage() { return const_cast<char*>(_data); }

    /// Whether `count` bytes behind `byteLength` others leave room for the terminator.
    bool fits(unsigned int byteLength, unsigned int count) const { return uint64_t(byteLength) + count < _byteSize; }

    /// By `count` bytes, which fit.
    void replaceFrom(unsigned int offset, const char* bytes, unsigned int count)
    {
        char* const to = getStorage() + offset;
        if (count > 0)
            memmove(to, bytes, count); // null when it is nothing
        to[count] = '\0';
    }

    ReturnCode append(const ReadableString& source); ///< `insert` at the end, without counting characters.

    unsigned int _byteSize; ///< Of the storage, with the terminator; 0 for none.

private:
    friend class ReadableString; // writes into its destinations

    /// Inserts what fits at byte `offset` of the text, which has `byteLength` bytes. There is storage.
    OSTREL_LOCAL ReturnCode insertAt(unsigned int offset, unsigned int byteLength, const char* source,
                                     unsigned int sourceLength);
};

} // namespace Ostrel
