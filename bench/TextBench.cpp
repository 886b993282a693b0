// Comparing without case and counting characters, beside what one would write by hand: a loop over ICU's case folding
// and a loop over bytes.
#include <benchmark/benchmark.h>

#include <string>

#ifdef OSTREL_BENCH_ICU
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

void compareOstrel(benchmark::State& state)
{
    const std::string lower = makeLetters(static_cast<size_t>(state.range(0)), 'a');
    const std::string upper = makeLetters(static_cast<size_t>(state.range(0)), 'A');
    const char* a = lower.c_str();
    const char* b = upper.c_str();
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        benchmark::DoNotOptimize(Ostrel::stringCompareInsensitive(a, b));
    }
}
BENCHMARK(compareOstrel)->Name("compare without case/ostrel")->Arg(3)->Arg(24)->Arg(1024);

#ifdef OSTREL_BENCH_ICU
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

void compareIcu(benchmark::State& state)
{
    const std::string lower = makeLetters(static_cast<size_t>(state.range(0)), 'a');
    const std::string upper = makeLetters(static_cast<size_t>(state.range(0)), 'A');
    const char* a = lower.c_str();
    const char* b = upper.c_str();
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        benchmark::DoNotOptimize(compareByFolding(a, b));
    }
}
BENCHMARK(compareIcu)->Name("compare without case/ICU fold loop")->Arg(3)->Arg(24)->Arg(1024);
#endif

unsigned int countByBytes(const char* text)
{
    unsigned int count = 0;
    for (; *text != '\0'; ++text)
        count += (static_cast<unsigned char>(*text) & 0xC0) != 0x80;
    return count;
}

template <unsigned int (*COUNT)(const char*)>
void countCharacters(benchmark::State& state)
{
    const std::string text = makeMixed(static_cast<size_t>(state.range(0)));
    const char* bytes = text.c_str();
    for (auto _ : state) {
        benchmark::DoNotOptimize(bytes);
        benchmark::DoNotOptimize(COUNT(bytes));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK_TEMPLATE(countCharacters, Ostrel::getUtf8Length)->Name("count characters/ostrel")->Arg(16)->Arg(64 << 10);
BENCHMARK_TEMPLATE(countCharacters, countByBytes)->Name("count characters/byte loop")->Arg(16)->Arg(64 << 10);

} // namespace

BENCHMARK_MAIN();
