/// Not installed: internal to the library.
#pragma once

namespace json {

/// A JSON number (RFC 8259, leading zeros allowed) taken from text.
///
/// Units:     `scan` looks at [text, end) and nowhere else; the text needs no terminator.
/// Ownership: none.
/// Errors:    `INVALID`.
/// Threads:   plain values.
class JsonNumber
{
public:
    enum Kind {
        INVALID,   ///< Not a number, or an integer that does not fit.
        INTEGER,   ///< `integer` holds it.
        REAL,      ///< `real` holds it, right to the last bit.
        UNDECIDED, ///< A double that only `strtod` on the same text reads exactly.
    };

    /// Reads the longest number at `text`. The first byte that does not belong to it; for `INVALID` the first byte
    /// that could not go on.
    const char* scan(const char* text, const char* end);

    // Only what `kind` names is set: each number has one of these, and clearing the rest took a tenth of its time.
    Kind kind;
    long long integer;
    double real;

private:
    const char* scanReal(const char* first, const char* point, const char* end);
    void setInteger(const char* first, const char* behind);
    void setReal(unsigned long long digits, long long exponent);

    bool _isNegative;
    unsigned long long _digits; ///< All digits of the number, modulo 2^64.
};

/// Tells byte by byte where a number ends, for text that comes in pieces.
///
/// It goes by which byte may stand behind which: whether what ends there is a number is for `JsonNumber` to say.
class JsonNumberBytes
{
public:
    /// Whether the number goes on with `byte`; where it does not, the number has ended before.
    bool takes(char byte);

private:
    bool allows(char byte) const;

    char _last = '\0'; ///< None at first.
    bool _hasPoint = false;
    bool _hasExponent = false;
};

} // namespace json
