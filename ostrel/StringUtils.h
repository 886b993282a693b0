/// UTF-8 and UTF-16 as NUL-terminated bytes: stepping, offsets, truncation, conversion, repair, comparison without
/// regard to case, and a small hash. Everything works in the caller's storage.
///
/// A character is a lead byte with the continuation bytes (0x80-0xBF) behind it. Only sequence lengths are looked at:
/// overlong forms, surrogates and code points up to 0x1FFFFF pass. No function reads behind a terminator, also when it
/// cuts a sequence short.
///
/// Units:     offsets and sizes are bytes, indexes and "Chars" are characters.
/// Ownership: nothing is allocated or kept; results point into the text given.
/// Errors:    a null text counts as empty or gives the failure value (-1 or null). A destination that a failed
///            conversion has begun is not terminated. Nothing is reported; `getNextChar` and `getPreviousChar` stop
///            the process on null.
/// Threads:   no state; any thread.
#pragma once

#include <cstdint>

#include "ostrel/Export.h"
#include "ostrel/string_utils_c.h" // convertUtf8ToUnicode for C

namespace Ostrel {

/// Bytes of the sequence that a byte starts: 1 to 4; -5 and -6 for leads of the obsolete long forms; -1 for bytes that
/// start nothing. Index with `unsigned char`. Signed on every host, as plain `char` is not.
extern OSTREL_EXPORT const signed char CHAR_LEN_TABLE[256];

// Stepping and counting

/// The next byte behind `*p` that is no continuation byte; null when the terminator comes first. `*p` itself is always
/// skipped, so never call it on the terminator.
OSTREL_EXPORT const char* getNextChar(const char* p);

/// The lead of the character that ends just before `p`; null when there is none at or behind `start`.
OSTREL_EXPORT const char* getPreviousChar(const char* p, const char* start);

OSTREL_EXPORT unsigned int getUtf8Length(const char* text); ///< Bytes that are no continuation bytes.

/// -1 for a continuation byte, 1 for ASCII, else the number of leading 1 bits (2 to 8): not `CHAR_LEN_TABLE`.
OSTREL_EXPORT int Utf8CharLen(char c);

/// Characters counted in steps of `Utf8CharLen`; -1 when a step meets a continuation byte where a lead should be.
OSTREL_EXPORT int Utf8CharCount(const char* text);

/// Byte offset of character `index`; the character count gives the byte length. -1 beyond, and for an empty text
/// unless `index` is 0.
OSTREL_EXPORT int convertCharToByteOffset(unsigned int index, const char* text);

/// The inverse. -1 for an offset inside a character or behind the end, and for an empty text unless `offset` is 0.
OSTREL_EXPORT int convertByteToCharOffset(unsigned int offset, const char* text);

// Cutting and copying

/// The end of the longest prefix of whole characters within `maxBytes` bytes, for a valid text. Null when nothing fits.
OSTREL_EXPORT const char* calculateTruncationPoint(const char* text, unsigned int maxBytes);

/// Copies whole characters while the bytes, with the next character, stay below `maxBytes` and `dest` has fewer than
/// `maxChars` characters; stops at an invalid lead. Always terminates, even for `maxBytes` 0. Returns `dest`, untouched
/// when either is null.
OSTREL_EXPORT char* Utf8strccpy(char* dest, const char* src, unsigned int maxChars, unsigned int maxBytes);

OSTREL_EXPORT char* Utf8strncpy(char* dest, const char* src, unsigned int maxBytes); ///< Without the character limit.

// Code points and UTF-16

/// The code point at `p`, -1 for an invalid lead. Continuation bytes are not checked; those behind a terminator count
/// as 0.
OSTREL_EXPORT int convertUtf8ToUnicode(const char* p);

/// Writes 1 to 4 bytes without a terminator and returns their number; -1 when `destSize` is too small or `codePoint`
/// is 0x200000 or more. Surrogates are encoded like any other.
OSTREL_EXPORT int convertUnicodeToUtf8(char* dest, unsigned int codePoint, unsigned int destSize);

OSTREL_EXPORT uint16_t read_uint16(const unsigned char* bytes); ///< A unit in host byte order, at any address.

/// Converts units in host byte order up to the first whose first byte in memory is 0. A surrogate takes the next unit
/// with it; the two give ten bits each and nothing is added, so the pair of U+1F600 reads as U+F600. `dest` holds
/// `destSize` bytes and one for the terminator. 0, or -1 when it does not fit or a pair is rejected.
OSTREL_EXPORT int convertUtf16ToUtf8(char* dest, const unsigned char* src, int destSize);

/// Converts `srcBytes` bytes of units, with 0x10000 added to pairs, tracing every unit on standard error. The unit
/// behind the last one is read too: `src` holds `srcBytes` + 2 bytes. The last byte of an odd number starts no unit, so
/// that only a surrogate right before it takes it, with the byte behind. Otherwise as above.
OSTREL_EXPORT int convertUtf16ToUtf8Ex(const unsigned char* src, int srcBytes, char* dest, int destSize);

// Repair. Both return the bytes written, the terminator excluded.

/// Writes '?' for what starts no character or is cut short. Does not check continuation bytes; bytes of a malformed
/// sequence that are none are copied once more. `dest` holds the length of `src` + 4 bytes. In place, what is written
/// may run ahead of what is read, and the result differ for malformed text.
OSTREL_EXPORT unsigned int ensureValidUtf8String(const char* src, char* dest);

/// Writes '?' for every malformed sequence and drops well-formed ones of 5 and 6 bytes. `dest` holds the length of
/// `src` + 1 bytes and may be `src` itself.
OSTREL_EXPORT unsigned int ensureStrictlyValidUtf8String(const unsigned char* src, unsigned char* dest);

/// Prints two hexadecimal digits a byte to standard output, characters separated by one blank, no line end.
OSTREL_EXPORT void printUtf8Bytes(const unsigned char* bytes, unsigned int length);

// Comparing without regard to case (the one-to-one case foldings of Unicode 4.1), and hashing

OSTREL_EXPORT unsigned int tableSearch(unsigned int codePoint); ///< The folded code point; itself when it has none.

OSTREL_EXPORT bool charCompare(const char* a, const char* b); ///< Whether the characters there are equal, folded.

/// Byte offset of the first match or -1. An empty needle matches at 0 of a text that is not empty.
OSTREL_EXPORT int findIgnoreCase(const char* haystack, const char* needle);

/// -1, 0 or 1, by the first characters that differ when folded; a beginning sorts first, null before everything.
OSTREL_EXPORT int stringCompareInsensitive(const char* a, const char* b);

/// FNV-1 over sign-extended bytes, folded to 24 bits. Null hashes as the empty text.
OSTREL_EXPORT unsigned int fnvHash24(const char* text);

} // namespace Ostrel
