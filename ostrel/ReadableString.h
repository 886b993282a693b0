#pragma once

#include <cstddef>

#include "ostrel/AutoPtr.h"
#include "ostrel/Export.h"
#include "ostrel/WeakPtr.h"

namespace Ostrel {

class DynamicString;
class WritableString;

/// Read-only view of a NUL-terminated UTF-8 text that someone else owns. Cheap to make at a call:
///
///     FixedString<32> text;
///     text.insert(0, ReadableString("Hello"));
///
/// Use `FixedString` or `DynamicString` to own the text.
///
/// Units:     each operation says which of its numbers are bytes and which are characters; some mix them.
/// Ownership: the text is borrowed and outlives the view, which cannot be assigned another. A null text has length 0
///            and equals the empty one.
/// Errors:    a `ReturnCode`, 1 or 0, or null. Impossible offsets in `storeSubstring` are reported as fatal, misuse of
///            the `substr` forms stops the process.
class OSTREL_EXPORT ReadableString
{
public:
    /// What operations on strings answer.
    enum ReturnCode {
        RC_INVALID_INDEX = -1, ///< At or beyond the length, or no character boundary.
        RC_OK = 0,
        RC_NO_SPACE = 1,    ///< No storage, storage could not be had, or the result was cut to fit.
        RC_OUT_OF_RANGE = 2 ///< More characters than there are, or more than a fixed destination holds.
    };

    ReadableString(const char* text) : _data(text) {} // NOLINT(google-explicit-constructor)
    virtual ~ReadableString();
    ReadableString(const ReadableString&) = default;
    ReadableString& operator=(const ReadableString&) = delete; // of an owner would make two of one storage

    /// Searches from byte `startByte` and gives the character index of the match, -1 without one. An empty pattern is
    /// found at `startByte` unless that is the end. -1 too when the first match begins inside a character: a character
    /// index cannot tell its place, and no later match is looked for.
    int find(const ReadableString& pattern, unsigned int startByte) const;

    bool operator==(const ReadableString& other) const;
    bool operator!=(const ReadableString& other) const { return !(*this == other); }

    /// Copies `length` characters from byte `pos`, taking each to be as long as the first one. No terminator is written
    /// when the last character just fills `destSize` bytes; length 0 gives the empty text. Returns `dest`; null when it
    /// or this text is null. Stops the process unless `destSize` exceeds `length` (length 0: the bytes from `pos` on)
    /// and `pos` is 0 or inside the text.
    char* substr(char* dest, size_t destSize, size_t pos, size_t length) const;

    /// Append `length` bytes from byte `pos`, or what there is of them; 1 when done, 0 when refused. Refused are a
    /// `pos` that is neither 0 nor inside the text and a `length` of at least the byte length (a `DynamicString` takes
    /// the whole text, from 0). A `WritableString` with storage also refuses what is smaller than its free room; length
    /// 0 counts as all from `pos` on there. Both stop the process when the bytes do not fit or memory is exhausted.
    int substr(WritableString* dest, size_t pos, size_t length) const;
    int substr(DynamicString* dest, size_t pos, size_t length) const;

    /// Replaces the text of `dest` by `count` characters (0: all that follow) from character `index`. A `DynamicString`
    /// grows. `RC_INVALID_INDEX`, `RC_OUT_OF_RANGE`; `RC_NO_SPACE` for a null `dest` or when memory is exhausted. A
    /// failure leaves `dest` unchanged.
    ReturnCode storeSubstring(WeakPtr<WritableString> dest, unsigned int index, unsigned int count) const;

    /// `storeSubstring` into a new string, which stays empty when that fails. Null when memory is exhausted.
    AutoPtr<DynamicString> substring(unsigned int index, unsigned int count) const;

    const char* getData() const { return _data; }
    unsigned int getByteLength() const;
    unsigned int getLength() const; ///< In characters.

protected:
    const char* _data; ///< Null for a null text.
};

} // namespace Ostrel
