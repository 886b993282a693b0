#include "json/JsonError.h"

namespace json {

namespace {

const char* const TEXTS[] = {
    nullptr,
    "there is nothing to read from",
    "the source failed before the document was complete",
    "there is no value",
    "expected a value",
    "expected a key in quotes",
    "expected ':' after a key",
    "expected ',' or '}' after a member",
    "expected ',' or ']' after an element",
    "a comma stands before the closing bracket",
    "expected true, false or null",
    "expected four hexadecimal digits after \\u",
    "expected a digit",
    "number out of range",
    "nested too deeply",
    "more data after the document",
    "end inside an object",
    "end inside an array",
    "end inside a text",
    "end inside true, false or null",
    "end inside a number",
    "out of memory",
    "there is no handler",
    "too many handlers",
};

} // namespace

const char* JsonError::getText() const
{
    static_assert(sizeof(TEXTS) / sizeof(TEXTS[0]) == TOO_MANY_HANDLERS + 1, "one text for each reason");
    return TEXTS[reason];
}

} // namespace json
