/// What the program says: texts that a terminal can bear, numbers, and complaints.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace Inspect {

enum class TextStyle {
    PLAIN,    ///< As it stands, but for what a terminal must not get.
    QUOTED,   ///< In double quotes.
    JSON,     ///< A JSON text: bytes that are no UTF-8 become U+FFFD, and not \xNN as above.
    JSON_PART ///< What stands in a JSON document already, in one line.
};

/// Appends a text in which nothing is left that steers a terminal. UTF-8 stays as it is where the locale has it, and
/// becomes \uNNNN elsewhere.
void appendText(std::string& out, std::string_view text, TextStyle style);
std::string showText(std::string_view text, TextStyle style);

bool isValidUtf8(std::string_view text);

/// The shortest digits that give the number again, in the manner of JSON: always with a point or an exponent. What is
/// no number there comes as nan, inf or -inf.
std::string showNumber(double value);
std::string showNumber(float value);

std::string showHex(const unsigned char* data, size_t length, const char* separator);

/// `N bytes`, `1 entry`.
std::string showCount(uint64_t count, const char* one, const char* many);

/// A line on standard error, behind what was written so far.
void complain(const std::string& text);
void complainAt(const std::string& file, uint64_t line, uint64_t column, const std::string& why);
void complainAtByte(const std::string& file, uint64_t byte, const std::string& why);

/// A line on standard error that the next one takes the place of. Complaints clear it.
void showProgress(const std::string& text);
void clearProgress();

/// Writes what was gathered and empties it.
void flushTo(FILE* out, std::string& text);

} // namespace Inspect
