// JSON to events, from memory and through a stream, beside RapidJSON's reader and yajl. Everyone calls one virtual
// function an event.
#include "bench/JsonParseBench.h"

#include <cstdio>

#include "bench/Benchmarks.h"
#include "json/JsonParser.h"
#include "ostrel/FileInputStream.h"

#ifdef HAVE_YAJL
#include <yajl/yajl_parse.h>
#endif

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
void measure(benchmark::State& state, const Document& document, const Work& work)
{
    for (auto _ : state) {
        Counter counter;
        if (!work(counter))
            state.SkipWithError("not parsed");
        benchmark::DoNotOptimize(counter.sum);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * document.text.size()));
}

void parseOurs(benchmark::State& state, const Document& document)
{
    measure<CountingHandler>(state, document, [&](CountingHandler& handler) {
        const unsigned int size = static_cast<unsigned int>(document.text.size());
        return json::JsonParser(&handler).parse(document.text.data(), size) == 0;
    });
}

void parseFileOurs(benchmark::State& state, const Document& document)
{
    measure<CountingHandler>(state, document, [&](CountingHandler& handler) {
        Ostrel::FileInputStream input(fopen(document.path.c_str(), "r"), true);
        return json::JsonParser(&handler).parse(&input) == 0;
    });
}

#ifdef HAVE_RAPIDJSON
template <bool (*PARSE)(const char*, EventCounter&)>
void parseRapidJson(benchmark::State& state, const Document& document)
{
    measure<EventCounter>(state, document,
                          [&](EventCounter& counter) { return PARSE(document.text.c_str(), counter); });
}

void parseFileRapidJson(benchmark::State& state, const Document& document)
{
    measure<EventCounter>(state, document, [&](EventCounter& counter) {
        return bench::parseFileWithRapidJson(document.path.c_str(), counter);
    });
}
#endif

#ifdef HAVE_YAJL
int onYajlNull(void* counter)
{
    return static_cast<EventCounter*>(counter)->onScalar(0);
}

int onYajlBoolean(void* counter, int value)
{
    return static_cast<EventCounter*>(counter)->onScalar(value);
}

int onYajlInteger(void* counter, long long value)
{
    return static_cast<EventCounter*>(counter)->onScalar(static_cast<double>(value));
}

int onYajlDouble(void* counter, double value)
{
    return static_cast<EventCounter*>(counter)->onScalar(value);
}

int onYajlText(void* counter, const unsigned char* text, size_t length)
{
    return static_cast<EventCounter*>(counter)->onText(reinterpret_cast<const char*>(text),
                                                       static_cast<unsigned int>(length));
}

int onYajlBracket(void* counter)
{
    return static_cast<EventCounter*>(counter)->onBracket();
}

void parseYajl(benchmark::State& state, const Document& document)
{
    static const yajl_callbacks CALLBACKS = {onYajlNull,    onYajlBoolean, onYajlInteger, onYajlDouble,
                                             nullptr,       onYajlText,    onYajlBracket, onYajlText,
                                             onYajlBracket, onYajlBracket, onYajlBracket};
    measure<EventCounter>(state, document, [&](EventCounter& counter) {
        const yajl_handle parser = yajl_alloc(&CALLBACKS, nullptr, &counter);
        yajl_config(parser, yajl_dont_validate_strings, 1); // nor do we
        const unsigned char* text = reinterpret_cast<const unsigned char*>(document.text.data());
        const bool isValid = yajl_parse(parser, text, document.text.size()) == yajl_status_ok &&
                             yajl_complete_parse(parser) == yajl_status_ok;
        yajl_free(parser);
        return isValid;
    });
}
#endif

} // namespace

void registerJsonParseBenchmarks(const Document& document)
{
    const char* const MEMORY = "JSON to events";
    const char* const FILE_STREAM = "JSON file to events";
    addBenchmark(MEMORY, document.name, "ostrel", parseOurs, document);
    addBenchmark(FILE_STREAM, document.name, "ostrel", parseFileOurs, document);
#ifdef HAVE_RAPIDJSON
    addBenchmark(MEMORY, document.name, "RapidJSON", parseRapidJson<bench::parseWithRapidJson>, document);
    addBenchmark(MEMORY, document.name, "RapidJSON SSE2", parseRapidJson<bench::parseWithRapidJsonSse2>, document);
    addBenchmark(FILE_STREAM, document.name, "RapidJSON", parseFileRapidJson, document);
#endif
#ifdef HAVE_YAJL
    addBenchmark(MEMORY, document.name, "yajl", parseYajl, document);
#endif
}
