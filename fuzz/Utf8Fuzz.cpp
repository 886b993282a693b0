// The UTF-8 utilities on arbitrary bytes, in heap blocks of exactly the documented sizes; and on code points, of which
// iconv makes UTF-8 and UTF-16.
#include <iconv.h>

#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/Judge.h"
#include "ostrel/StringUtils.h"

using namespace Ostrel;

namespace {

std::unique_ptr<char[]> copyExactly(const uint8_t* data, size_t size)
{
    const size_t length = strnlen(reinterpret_cast<const char*>(data), size);
    std::unique_ptr<char[]> text(new char[length + 1]());
    std::copy(data, data + length, text.get());
    return text;
}

void checkRepairs(const char* text, size_t length)
{
    std::unique_ptr<char[]> lenient(new char[length + 4]);
    require(ensureValidUtf8String(text, lenient.get()) == strlen(lenient.get()));
    std::unique_ptr<unsigned char[]> strict(new unsigned char[length + 1]);
    const unsigned int written =
        ensureStrictlyValidUtf8String(reinterpret_cast<const unsigned char*>(text), strict.get());
    const char* const repaired = reinterpret_cast<const char*>(strict.get());
    require(written == strlen(repaired) && Utf8CharCount(repaired) == static_cast<int>(getUtf8Length(repaired)));
}

void checkOffsets(const char* text, size_t length)
{
    Utf8CharCount(text);
    for (unsigned int n = 0; n <= length + 2; ++n) {
        const int offset = convertCharToByteOffset(n, text);
        require(offset < 0 || n == 0 ||
                convertByteToCharOffset(static_cast<unsigned int>(offset), text) == static_cast<int>(n));
        const char* const end = calculateTruncationPoint(text, n);
        require(end == nullptr || end <= text + (n < length ? n : length));
        std::unique_ptr<char[]> dest(new char[n + 1]);
        require(strlen(Utf8strncpy(dest.get(), text, n)) <= n);
    }
}

std::string convert(iconv_t converter, std::string source)
{
    std::string result(4 * source.size() + 4, '\0');
    char* in = &source[0];
    char* out = &result[0];
    size_t inSize = source.size();
    size_t outSize = result.size();
    require(iconv(converter, &in, &inSize, &out, &outSize) == 0 && inSize == 0);
    result.resize(result.size() - outSize);
    return result;
}

std::vector<uint32_t> pickCodePoints(Choices choices)
{
    std::vector<uint32_t> points;
    while (!choices.isEmpty()) {
        const unsigned int planes = choices.below(2) == 0 ? 0 : choices.below(17);
        const unsigned int row = choices.below(2) == 0 ? 0 : choices.below(256);
        const uint32_t point = planes << 16 | row << 8 | choices.below(256);
        if (point != 0 && (point < 0xD800 || point > 0xDFFF))
            points.push_back(point);
    }
    return points;
}

void checkSteps(const std::string& text, const std::vector<uint32_t>& points)
{
    const char* cur = text.c_str();
    const char* last = nullptr;
    for (size_t i = 0; i < points.size(); ++i) {
        const unsigned int offset = static_cast<unsigned int>(cur - text.c_str());
        require(convertCharToByteOffset(static_cast<unsigned int>(i), text.c_str()) == static_cast<int>(offset));
        require(convertByteToCharOffset(offset, text.c_str()) == static_cast<int>(i));
        require(getPreviousChar(cur, text.c_str()) == last);
        require(convertUtf8ToUnicode(cur) == static_cast<int>(points[i]));
        char encoded[4];
        const int length = convertUnicodeToUtf8(encoded, points[i], sizeof(encoded));
        require(length == Utf8CharLen(*cur) && memcmp(cur, encoded, static_cast<size_t>(length)) == 0);
        require(convertUnicodeToUtf8(encoded, points[i], static_cast<unsigned int>(length) - 1) == -1);
        for (int inside = 1; inside < length; ++inside)
            require(calculateTruncationPoint(text.c_str(), offset + static_cast<unsigned int>(inside)) == cur);
        require(getNextChar(cur) == (i + 1 == points.size() ? nullptr : cur + length));
        last = cur;
        cur += length;
    }
    require(cur == text.c_str() + text.size());
}

void checkBesideIconv(const std::vector<uint32_t>& points)
{
    static const iconv_t toUtf8 = iconv_open("UTF-8", "UTF-32LE");
    static const iconv_t toUtf16 = iconv_open("UTF-16LE", "UTF-32LE");
    const std::string wide(reinterpret_cast<const char*>(points.data()), 4 * points.size());
    const std::string text = convert(toUtf8, wide);
    checkSteps(text, points);
    require(Utf8CharCount(text.c_str()) == static_cast<int>(points.size()));
    require(getUtf8Length(text.c_str()) == points.size());
    std::vector<unsigned char> repaired(text.size() + 4);
    ensureStrictlyValidUtf8String(reinterpret_cast<const unsigned char*>(text.c_str()), repaired.data());
    require(text == reinterpret_cast<const char*>(repaired.data()));
    ensureValidUtf8String(text.c_str(), reinterpret_cast<char*>(repaired.data()));
    require(text == reinterpret_cast<const char*>(repaired.data()));

    // Pairs lose a bit, and a low byte of 0 ends a text.
    const auto isPlain = [](uint32_t point) { return point < 0x10000 && (point & 0xFF) != 0; };
    if (!std::all_of(points.begin(), points.end(), isPlain))
        return;
    const std::string units = convert(toUtf16, wide) + std::string(2, '\0');
    std::vector<char> back(text.size() + 1);
    require(convertUtf16ToUtf8(back.data(), reinterpret_cast<const unsigned char*>(units.data()),
                               static_cast<int>(text.size())) == 0);
    require(text == back.data());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    checkBesideIconv(pickCodePoints(Choices(data, std::min<size_t>(size, 200))));
    const size_t half = size / 2;
    const std::unique_ptr<char[]> a = copyExactly(data, half);
    const std::unique_ptr<char[]> b = copyExactly(data + half, size - half);
    checkRepairs(a.get(), strlen(a.get()));
    checkOffsets(a.get(), strlen(a.get()));
    require(stringCompareInsensitive(a.get(), b.get()) == -stringCompareInsensitive(b.get(), a.get()));
    const int found = findIgnoreCase(a.get(), b.get());
    require(found <= static_cast<int>(strlen(a.get())));
    fnvHash24(a.get());

    // Units up to an end that any host sees, and room for the longest result.
    const size_t units = size / 2;
    std::unique_ptr<unsigned char[]> utf16(new unsigned char[2 * units + 2]());
    std::copy(data, data + 2 * units, utf16.get());
    const int room = static_cast<int>(4 * units);
    std::unique_ptr<char[]> utf8(new char[4 * units + 1]);
    if (convertUtf16ToUtf8(utf8.get(), utf16.get(), room) == 0)
        require(Utf8CharCount(utf8.get()) >= 0);
    return 0;
}
