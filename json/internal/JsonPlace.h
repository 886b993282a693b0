/// Not installed: internal to the library.
#pragma once

namespace json {

/// A place in a document that goes by in pieces.
///
/// Units:     `offset` is bytes, from 0; lines and columns count from 1, columns in characters.
/// Ownership: none.
/// Errors:    none.
/// Threads:   plain values.
struct JsonPlace
{
    unsigned long long offset = 0;
    unsigned long long line = 1;
    unsigned long long column = 1;

    /// From the begin of [text, end) to its end.
    void advance(const char* text, const char* end);
};

} // namespace json
