// JSON to events, beside RapidJSON's reader. The files are named on the command line, behind Google Benchmark's own
// options:
//
//     json_parse_bench --benchmark_repetitions=9 twitter.json canada.json
#include "bench/JsonParseBench.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "ostrel/FileInputStream.h"
#include "json/JsonParser.h"

namespace bench {

bool EventCounter::onScalar(double value)
{
    ++events;
    sum += value;
    return true;
}

bool EventCounter::onText(const char* text, unsigned int)
{
    ++events;
    sum += text[0];
    return true;
}

bool EventCounter::onBracket()
{
    ++events;
    return true;
}

} // namespace bench

namespace {

using bench::EventCounter;

class CountingHandler : public json::JsonParser::EventHandler
{
public:
    using EventHandler::onInteger;
    void onInteger(json::JsonParser*, const char* key, long long value) override
    {
        count(key, static_cast<double>(value));
    }
    void onDouble(json::JsonParser*, const char* key, double value) override { count(key, value); }
    void onString(json::JsonParser*, const char* key, const char* value) override { count(key, value[0]); }
    void onBoolean(json::JsonParser*, const char* key, bool value) override { count(key, value ? 1 : 0); }
    void onNull(json::JsonParser*, const char* key) override { count(key, 0); }
    void arrayStart(json::JsonParser*, const char* key) override { count(key, 0); }
    void arrayEnd(json::JsonParser*) override { ++events; }
    void objectStart(json::JsonParser*, const char* key) override { count(key, 0); }
    void objectEnd(json::JsonParser*) override { ++events; }

    unsigned long events = 0;
    double sum = 0;

private:
    void count(const char* key, double value)
    {
        ++events;
        if (key != nullptr) {
            ++events;
            sum += key[0];
        }
        sum += value;
    }
};

template <class Counter, class Work>
void measure(benchmark::State& state, size_t size, const Work& work)
{
    unsigned long events = 0;
    for (auto _ : state) {
        Counter counter;
        if (!work(counter))
            state.SkipWithError("not parsed");
        benchmark::DoNotOptimize(counter.sum);
        events = counter.events;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
    state.counters["events"] = static_cast<double>(events);
}

void registerFile(const std::string& path)
{
    std::ifstream file(path);
    std::stringstream content;
    content << file.rdbuf();
    const std::string text = content.str();
    const std::string name = path.substr(path.rfind('/') + 1);
    const auto add = [&](const std::string& contestant, auto function) {
        benchmark::RegisterBenchmark((name + "/" + contestant).c_str(), function);
    };

    add("memory/ostrel", [text](benchmark::State& state) {
        measure<CountingHandler>(state, text.size(), [&](CountingHandler& handler) {
            return json::JsonParser(&handler).parse(text.data(), static_cast<unsigned int>(text.size())) == 0;
        });
    });
    add("memory/rapidjson", [text](benchmark::State& state) {
        measure<EventCounter>(state, text.size(),
                              [&](EventCounter& counter) { return parseWithRapidJson(text.c_str(), counter); });
    });
    add("memory/rapidjson_sse2", [text](benchmark::State& state) {
        measure<EventCounter>(state, text.size(),
                              [&](EventCounter& counter) { return parseWithRapidJsonSse2(text.c_str(), counter); });
    });
    add("file/ostrel", [path, text](benchmark::State& state) {
        measure<CountingHandler>(state, text.size(), [&](CountingHandler& handler) {
            Ostrel::FileInputStream input(fopen(path.c_str(), "r"), true);
            return json::JsonParser(&handler).parse(&input) == 0;
        });
    });
    add("file/rapidjson", [path, text](benchmark::State& state) {
        measure<EventCounter>(state, text.size(),
                              [&](EventCounter& counter) { return parseFileWithRapidJson(path.c_str(), counter); });
    });
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    for (int i = 1; i < argc; ++i)
        registerFile(argv[i]);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
