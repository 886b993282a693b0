// Comparing without case and counting characters, beside what one would write by hand: a loop over ICU's case folding
// and a loop over bytes.
#include "bench/Benchmarks.h"

#ifdef HAVE_ICU
#include <unicode/uchar.h>
#include <unicode/utf8.h>
#endif

#include "ostrel/StringUtils.h"

namespace {

std::string makeLetters(size_t size, char first)
{
    std::string text;
    for (size_t i = 0; i < size; ++i)
        text += static_cast<char>(first + i % 26);
    return text;
}

/// As in a page of German, Russian and Chinese: characters of 1, 2, 3 and now and then 4 bytes.
std::string makeMixed(size_t size)
{
    static const char* const PIECES[] = {"Grüße ", "Мир, ", "中文 text ", "😀", "plain words "};
    std::string text;
    for (unsigned int i = 0; text.size() < size; ++i)
        text += PIECES[i * i % 7 % 5];
    return text;
}

template <class Compare>
void compareWithoutCase(benchmark::State& state, size_t size, Compare compare)
{
    const std::string lower = makeLetters(size, 'a');
    const std::string upper = makeLetters(size, 'A');
    const char* a = lower.c_str();
    const char* b = upper.c_str();
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        benchmark::DoNotOptimize(compare(a, b));
    }
}

#ifdef HAVE_ICU
int compareByFolding(const char* a, const char* b)
{
    for (int i = 0, j = 0;;) {
        UChar32 charA;
        UChar32 charB;
        U8_NEXT(a, i, -1, charA);
        U8_NEXT(b, j, -1, charB);
        if (charA <= 0 || charB <= 0)
            return charA == charB ? 0 : charA < charB ? -1 : 1;
        const UChar32 foldedA = u_foldCase(charA, U_FOLD_CASE_DEFAULT);
        const UChar32 foldedB = u_foldCase(charB, U_FOLD_CASE_DEFAULT);
        if (foldedA != foldedB)
            return foldedA < foldedB ? -1 : 1;
    }
}
#endif

unsigned int countByBytes(const char* text)
{
    unsigned int count = 0;
    for (; *text != '\0'; ++text)
        count += (static_cast<unsigned char>(*text) & 0xC0) != 0x80;
    return count;
}

template <class Count>
void countCharacters(benchmark::State& state, size_t size, Count count)
{
    const std::string text = makeMixed(size);
    const char* bytes = text.c_str();
    for (auto _ : state) {
        benchmark::DoNotOptimize(bytes);
        benchmark::DoNotOptimize(count(bytes));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

} // namespace

void registerTextBenchmarks()
{
    const auto compareOurs = [](const char* a, const char* b) { return Ostrel::stringCompareInsensitive(a, b); };
    for (size_t size : {3, 24, 1024}) {
        const std::string input = std::to_string(size) + " B";
        addBenchmark("compare without case", input, "ostrel", compareWithoutCase<decltype(compareOurs)>, size,
                     compareOurs);
#ifdef HAVE_ICU
        addBenchmark("compare without case", input, "ICU fold loop", compareWithoutCase<decltype(&compareByFolding)>,
                     size, compareByFolding);
#endif
    }

    const auto countOurs = [](const char* text) { return Ostrel::getUtf8Length(text); };
    addBenchmark("count characters", "64 KB", "ostrel", countCharacters<decltype(countOurs)>, 64 << 10, countOurs);
    addBenchmark("count characters", "64 KB", "byte loop", countCharacters<decltype(&countByBytes)>, 64 << 10,
                 countByBytes);
}
