// Numbers, well-formed or not, in JSON texts, in views of them and in nodes of trees: strtod and strtoll tell what they
// are.
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>

#include "fuzz/Judge.h"
#include "json/JsonData.h"
#include "ostrel/DataObject.h"
#include "tests/support/JsonEventLog.h"
#include "tests/support/PieceStream.h"

namespace {

/// The text with each byte turned into one that numbers are made of.
std::string makeNumber(std::string text)
{
    static const char BYTES[] = "0123456789012345678900990123456789eE+-..--  xX";
    for (char& byte : text)
        byte = BYTES[static_cast<unsigned char>(byte) % (sizeof(BYTES) - 1)];
    return text;
}

/// What the number at the start of the text is as an event; empty where none is well-formed or no integer fits.
std::string judgeNumber(const std::string& text)
{
    const char* const digits = "0123456789";
    const size_t size = text.size();
    const auto skip = [&](size_t at) { return std::min(text.find_first_not_of(digits, at), size); };
    const size_t first = text[0] == '-' ? 1 : 0;
    size_t end = skip(first);
    bool isWellFormed = end > first;
    bool isReal = false;
    if (text[end] == '.') {
        isReal = true;
        const size_t fraction = end + 1;
        end = skip(fraction);
        isWellFormed = isWellFormed && end > fraction;
    }
    if (isWellFormed && (text[end] == 'e' || text[end] == 'E')) {
        isReal = true;
        const size_t exponent = end + (text[end + 1] == '+' || text[end + 1] == '-' ? 2 : 1);
        end = skip(exponent);
        isWellFormed = end > exponent;
    }
    if (!isWellFormed)
        return "";
    if (isReal)
        return JsonEventLog::formatDouble(strtod(text.c_str(), nullptr));
    const long long value = strtoll(text.c_str(), nullptr, 10);
    return value == LLONG_MIN || value == LLONG_MAX ? "" : "i" + std::to_string(value);
}

/// The event of the number; a piece size of 0 stands for a text in memory.
std::string readNumber(const std::string& text, unsigned int pieceSize)
{
    JsonEventLog log;
    json::JsonParser parser(&log);
    if (pieceSize == 0) {
        parser.parse(text.data(), static_cast<unsigned int>(text.size()));
    } else {
        PieceStream stream(text, {pieceSize});
        parser.parse(&stream);
    }
    return log.text;
}

void checkView(const std::string& text)
{
    const json::JsonData view(text.c_str());
    errno = 0;
    const long value = strtol(text.c_str(), nullptr, 0);
    const bool isRefused = text.empty() || (value == 0 && (errno == ERANGE || errno == EINVAL));
    errno = 0;
    require(view.toInt() == (isRefused ? INT_MIN : std::max<long>(INT_MIN, std::min<long>(INT_MAX, value))));
    errno = 0;
    const float real = strtof(text.c_str(), nullptr);
    const bool isNone = text.empty() || (real == 0 && (errno == ERANGE || errno == EINVAL));
    errno = 0;
    const float found = view.toFloat();
    require(isNone ? std::isnan(found) : memcmp(&found, &real, sizeof(real)) == 0);
}

void checkNode(const std::string& text)
{
    const Ostrel::AutoPtr<Ostrel::DataObject> node = Ostrel::IntegerDataObject::create(text.c_str());
    char* end;
    const long long value = strtoll(text.c_str(), &end, 10);
    const bool isRefused = end == text.c_str() || value == LLONG_MIN || value == LLONG_MAX;
    require(node->isValid() == !isRefused && node->toInt64(value) == value);

    const long narrow = strtol(text.c_str(), &end, 10);
    const bool isWhole = !text.empty() && text[0] != ' ' && *end == '\0';
    const int expected = isWhole ? static_cast<int>(std::max<long>(INT_MIN, std::min<long>(INT_MAX, narrow))) : 77;
    require(Ostrel::DataObject::createString(text.c_str())->convertToInt(77) == expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    const unsigned int pieceSize = choices.below(40) + 1;
    const std::string text = makeNumber(choices.bytes(size));
    const std::string token = text.substr(std::min(text.find_first_not_of(' '), text.size()));
    const std::string expected = judgeNumber(token);
    require(readNumber(text, 0) == expected);
    require(readNumber(text, pieceSize) == expected);
    checkView(text);
    checkNode(text);
    return 0;
}
