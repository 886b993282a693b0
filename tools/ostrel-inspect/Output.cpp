#include "tools/ostrel-inspect/Output.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace Inspect {

namespace {

const uint32_t INVALID = UINT32_MAX;
const uint32_t FIRST_ASTRAL = 0x10000;

struct Character
{
    uint32_t codePoint; // INVALID for a byte that starts none
    size_t length;
};

/// The character at the start of `text`. The halves of a surrogate pair count as one each: the JSON parser makes such.
Character decode(std::string_view text)
{
    static const uint32_t LOWEST[] = {0, 0, 0x80, 0x800, FIRST_ASTRAL}; // for each length; below it a shorter one fits
    const unsigned char lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80)
        return {lead, 1};
    const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC0 || lead > 0xF4 || text.size() < length)
        return {INVALID, 1};
    uint32_t codePoint = lead & (0x7F >> length);
    for (size_t i = 1; i < length; ++i) {
        const unsigned char byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80)
            return {INVALID, 1};
        codePoint = codePoint << 6 | (byte & 0x3F);
    }
    return codePoint < LOWEST[length] || codePoint > 0x10FFFF ? Character{INVALID, 1} : Character{codePoint, length};
}

bool isSurrogate(uint32_t codePoint)
{
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

/// What moves the cursor, changes how a terminal works, or the direction in which it writes.
bool isControl(uint32_t codePoint)
{
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0) ||
           (codePoint >= 0x2028 && codePoint <= 0x202E) || (codePoint >= 0x2066 && codePoint <= 0x2069);
}

/// By its name alone: small systems have terminals that show UTF-8, but no locale data.
bool isLocaleUtf8()
{
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* const name = getenv(variable);
        if (name != nullptr && *name != '\0')
            return strcasestr(name, "UTF-8") != nullptr || strcasestr(name, "UTF8") != nullptr;
    }
    return false;
}

bool isShownAsItIs(uint32_t codePoint)
{
    static const bool IS_UTF8 = isLocaleUtf8();
    return !isControl(codePoint) && !isSurrogate(codePoint) && (codePoint < 0x80 || IS_UTF8);
}

void appendFormatted(std::string& out, const char* format, uint32_t value)
{
    char text[16];
    snprintf(text, sizeof(text), format, static_cast<unsigned int>(value));
    out += text;
}

void appendEscaped(std::string& out, uint32_t codePoint)
{
    static const char SHORT[] = "\bb\tt\nn\ff\rr";
    for (const char* pair = SHORT; *pair != '\0'; pair += 2) {
        if (codePoint == static_cast<unsigned char>(pair[0])) {
            out += '\\';
            out += pair[1];
            return;
        }
    }
    if (codePoint >= FIRST_ASTRAL) {
        appendFormatted(out, "\\u%04x", 0xD800 + ((codePoint - FIRST_ASTRAL) >> 10));
        codePoint = 0xDC00 + (codePoint & 0x3FF);
    }
    appendFormatted(out, "\\u%04x", codePoint);
}

/// The length of the beginning that needs no second look.
size_t findSpecial(std::string_view text, bool isQuoted)
{
    size_t i = 0;
    while (i < text.size() && text[i] >= ' ' && text[i] < 0x7F && !(isQuoted && (text[i] == '"' || text[i] == '\\')))
        ++i;
    return i;
}

/// The character at the start of the text, which is not to stand as it is, or may not; its length.
size_t appendSpecial(std::string& out, std::string_view text, bool isJson)
{
    const Character character = decode(text);
    if (text[0] == '"' || text[0] == '\\')
        out += '\\';
    if (character.codePoint == INVALID && isJson)
        out += "\\ufffd";
    else if (character.codePoint == INVALID)
        appendFormatted(out, "\\x%02x", static_cast<unsigned char>(text[0]));
    else if (isShownAsItIs(character.codePoint))
        out.append(text, 0, character.length);
    else
        appendEscaped(out, character.codePoint);
    return character.length;
}

template <class Number>
std::string showFraction(Number value)
{
    if (!std::isfinite(value))
        return std::isnan(value) ? "nan" : value < 0 ? "-inf" : "inf";
    char text[32];
    std::string digits(text, std::to_chars(text, text + sizeof(text), value).ptr);
    if (digits.find_first_of(".e") == std::string::npos)
        digits += ".0";
    return digits;
}

bool isProgressShown = false;

} // namespace

void appendText(std::string& out, std::string_view text, TextStyle style)
{
    const bool isQuoted = style == TextStyle::QUOTED || style == TextStyle::JSON;
    const bool isJson = style == TextStyle::JSON || style == TextStyle::JSON_PART;
    out += isQuoted ? "\"" : "";
    for (;;) {
        const size_t plain = findSpecial(text, isQuoted);
        out.append(text, 0, plain);
        text.remove_prefix(plain);
        if (text.empty())
            break;
        text.remove_prefix(appendSpecial(out, text, isJson));
    }
    out += isQuoted ? "\"" : "";
}

std::string showText(std::string_view text, TextStyle style)
{
    std::string shown;
    appendText(shown, text, style);
    return shown;
}

bool isValidUtf8(std::string_view text)
{
    while (!text.empty()) {
        const Character character = decode(text);
        if (character.codePoint == INVALID)
            return false;
        text.remove_prefix(character.length);
    }
    return true;
}

std::string showNumber(double value)
{
    return showFraction(value);
}

std::string showNumber(float value)
{
    return showFraction(value);
}

std::string showHex(const unsigned char* data, size_t length, const char* separator)
{
    std::string hex;
    for (size_t i = 0; i < length; ++i) {
        hex += i == 0 ? "" : separator;
        appendFormatted(hex, "%02x", data[i]);
    }
    return hex;
}

std::string showCount(uint64_t count, const char* one, const char* many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

void complain(const std::string& text)
{
    clearProgress();
    fflush(stdout); // so that both come in order where they go to the same place
    fprintf(stderr, "%s\n", showText(text, TextStyle::PLAIN).c_str());
}

void complainAt(const std::string& file, uint64_t line, uint64_t column, const std::string& why)
{
    complain(file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + why);
}

void complainAtByte(const std::string& file, uint64_t byte, const std::string& why)
{
    complain(file + ":byte " + std::to_string(byte) + ": " + why);
}

void showProgress(const std::string& text)
{
    fprintf(stderr, "\r%s", text.c_str());
    isProgressShown = true;
}

void clearProgress()
{
    if (isProgressShown)
        fprintf(stderr, "\r%24s\r", "");
    isProgressShown = false;
}

void flushTo(FILE* out, std::string& text)
{
    fwrite(text.data(), 1, text.size(), out);
    text.clear();
}

} // namespace Inspect
