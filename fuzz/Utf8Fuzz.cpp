// The UTF-8 utilities on arbitrary bytes, in heap blocks of exactly the documented sizes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
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
