#pragma once

#include "ostrel/Export.h"

namespace json {

/// Why and where a document was refused: what `JsonParser` and `JsonDeserializer` know beyond their error texts.
///
///     json::JsonParser parser;
///     if (parser.parse("{\n  \"port\" 8080\n}") != 0) {
///         const json::JsonError error = parser.getError();
///         printf("line %llu, column %llu: %s\n", error.line, error.column, error.getText());
///     } // line 2, column 10: expected ':' after a key
///
/// The place is that of the first byte that could not be accepted, and the end of the input where that was cut. All
/// bytes of an integer that does not fit are acceptable, so its first one is told. The place is the same from memory
/// and from streams, in whatever pieces they deliver.
///
/// Units:     `offset` is bytes, from 0. Lines and columns count from 1, columns in characters, of which `\t` and `\r`
///            are one each. Only `\n` ends a line.
/// Ownership: texts live for ever.
/// Errors:    none; without an error all numbers are 0, and so are they where nothing was read for want of a source or
///            a handler.
/// Threads:   plain values.
struct OSTREL_EXPORT JsonError
{
    /// What was wrong. What has no comment says it by its name.
    enum Reason {
        NONE = 0,
        NO_SOURCE = 1,
        SOURCE_FAILED = 2, ///< A read gave -1 where the document had to go on. One that gave 0 counts as the end, also
                           ///< after a time-out: the stream tells.
        NO_VALUE = 3,      ///< The input is empty, or all white space.

        EXPECTED_VALUE = 4,
        EXPECTED_KEY = 5,
        EXPECTED_COLON = 6,
        EXPECTED_COMMA_OR_BRACE = 7,
        EXPECTED_COMMA_OR_BRACKET = 8,
        TRAILING_COMMA = 9, ///< The place is that of the closing bracket.
        WRONG_LITERAL = 10, ///< Begins as `true`, `false` or `null`; the place is where it turns wrong.
        WRONG_ESCAPE = 11,  ///< The place is that of the byte that is no hexadecimal digit.
        EXPECTED_DIGIT = 12,
        NUMBER_OUT_OF_RANGE = 13, ///< An integer; those with a fraction or exponent never are.
        TOO_DEEP = 14,            ///< The place is that of the bracket that opens one collection too many.
        EXCESS_DATA = 15,

        END_IN_OBJECT = 16, ///< Wherever no token was begun, behind a key too.
        END_IN_ARRAY = 17,
        END_IN_TEXT = 18, ///< In a key too.
        END_IN_LITERAL = 19,
        END_IN_NUMBER = 20,

        OUT_OF_MEMORY = 21,    ///< For a long text or number; the place is where it stopped.
        INVALID_HANDLER = 22,  ///< Of `JsonDeserializer` only.
        TOO_MANY_HANDLERS = 23 ///< Of `JsonDeserializer` only.
    };

    Reason reason = NONE;          ///< Why; the three below tell where.
    unsigned long long offset = 0; ///< In bytes, from 0.
    unsigned long long line = 0;   ///< From 1.
    unsigned long long column = 0; ///< In characters, from 1.

    /// The reason in words, without the place; null when there is none.
    const char* getText() const;
};

} // namespace json
