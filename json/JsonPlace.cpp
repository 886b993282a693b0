#include "json/internal/JsonPlace.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "ostrel/internal/ByteBlock.h"
#include "ostrel/internal/Utf8Bytes.h"

namespace json {

namespace {

using Ostrel::ByteBlock;

/// Bytes for which `count(tally, block)` adds to the tally, or `isCounted(byte)` holds where no block is left.
template <class Count, class IsCounted>
inline size_t countBytes(const char* text, const char* end, const Count& count, const IsCounted& isCounted)
{
    // Two sums and four blocks a turn: additions that need not wait for each other, and less of a loop.
    const ptrdiff_t STEP = 4 * ByteBlock::SIZE;
    const ptrdiff_t MOST = ByteBlock::Tally::MOST_BLOCKS / 2 * STEP;
    size_t total = 0;
    while (end - text >= STEP) {
        ByteBlock::Tally even;
        ByteBlock::Tally odd;
        const char* const last = text + std::min(end - text, MOST) - STEP;
        for (; text <= last; text += STEP) {
            count(even, ByteBlock(text));
            count(odd, ByteBlock(text + ByteBlock::SIZE));
            count(even, ByteBlock(text + 2 * ByteBlock::SIZE));
            count(odd, ByteBlock(text + 3 * ByteBlock::SIZE));
        }
        total += even.getTotal() + odd.getTotal();
    }
    return total + static_cast<size_t>(std::count_if(text, end, isCounted));
}

size_t countLines(const char* text, const char* end)
{
    return countBytes(
        text, end, [](ByteBlock::Tally& tally, const ByteBlock& block) { tally.addEqual(block, '\n'); },
        [](char byte) { return byte == '\n'; });
}

size_t countContinuations(const char* text, const char* end)
{
    return countBytes(
        text, end, [](ByteBlock::Tally& tally, const ByteBlock& block) { tally.addContinuations(block); },
        [](char byte) { return Ostrel::isContinuation(byte); });
}

} // namespace

void JsonPlace::advance(const char* text, const char* end)
{
    if (text == end)
        return;
    const size_t size = static_cast<size_t>(end - text);
    offset += size;
    // The last line end is found before any is counted: a document without line breaks is done with at once.
    const void* const lineEnd = memrchr(text, '\n', size);
    if (lineEnd != nullptr) {
        const char* const lineStart = static_cast<const char*>(lineEnd) + 1;
        line += countLines(text, lineStart);
        column = 1;
        text = lineStart;
    }
    column += static_cast<size_t>(end - text) - countContinuations(text, end);
}

} // namespace json
