#pragma once

#include "ostrel/WritableString.h"

namespace Ostrel {

/// UTF-8 text on the heap, resized on demand and only by the operations below: those inherited from `WritableString`
/// cut to the storage that there is.
///
///     DynamicString text;
///     if (text.growAndAssign("Hello") != ReadableString::RC_OK)
///         return;
///
/// Growth is additive: a string takes little more than its text needs, but one appended to bit by bit should be given
/// its size first, with `setByteSize`. A text has at most 262,144 bytes, terminator included.
///
/// Ownership: owns its storage; copies are deep. `getData()` is valid until the next call that resizes.
/// Errors:    a `ReturnCode`; `RC_NO_SPACE` when memory is exhausted or a size is over the limit, which is also a fatal
///            report. A constructor that fails makes a fatal report and leaves the string null.
class OSTREL_EXPORT DynamicString : public WritableString
{
public:
    DynamicString();                                  ///< No storage: null, byte size 0.
    DynamicString(const char* src, unsigned int len); ///< Copies at most `len` bytes into storage of `len` + 1.
    explicit DynamicString(const ReadableString& orig);
    DynamicString(const DynamicString& orig);
    ~DynamicString() override;
    DynamicString& operator=(const DynamicString& other); ///< `growAndAssign`, a failure of which is a fatal report.

    /// Resizes to exactly `size` bytes and keeps as many whole characters as fit; 0 releases the storage. A failure
    /// leaves all as it was.
    ReturnCode setByteSize(unsigned int size);

    /// Makes room for `count` more bytes: when there is none, the byte size grows by `count` + 1.
    ReturnCode ensureFreeBytes(unsigned int count);

    /// When the storage cannot grow, what fits is appended: `RC_NO_SPACE`.
    ReturnCode growAndAppend(const ReadableString& source);

    ReturnCode growAndAssign(const ReadableString& source); ///< A failure to grow leaves the text as it was.

    /// Replaces each occurrence, and always returns -1. Made for ASCII: it erases as many characters as `pattern` has
    /// bytes, and goes on as many characters behind the match as `replacement` has bytes. An empty pattern does
    /// nothing. When memory is exhausted, replacements are cut to the storage that there is.
    int findAndReplace(const char* pattern, const char* replacement);

private:
    OSTREL_LOCAL void install(char* storage, unsigned int byteSize); ///< In place of the storage there is.
};

} // namespace Ostrel
