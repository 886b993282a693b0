/// Writing JSON: the same recorded events into `json::JsonGen` and into a peer's writer.
///
///     OSTREL_BENCH_DATA=<folder with twitter.json, citm_catalog.json and canada.json> JsonGenBench
#include <benchmark/benchmark.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdlib>
#include <deque>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "json/JsonGen.h"

namespace {

enum Kind { OBJECT, ARRAY, END_OBJECT, END_ARRAY, TEXT, INTEGER, DOUBLE, BOOL, NOTHING };

struct Event
{
    Kind kind;
    const std::string* key;
    const std::string* text;
    long long integer;
    double number;
};

/// A document as flat events, so that only writing is measured.
class Recording : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Recording>
{
public:
    explicit Recording(const char* name)
    {
        const char* folder = getenv("OSTREL_BENCH_DATA");
        std::ifstream file(std::string(folder == nullptr ? "." : folder) + "/" + name);
        const std::string document((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        rapidjson::StringStream stream(document.c_str());
        rapidjson::Reader().Parse(stream, *this);
    }

    bool Null() { return record({NOTHING, nullptr, nullptr, 0, 0}); }
    bool Bool(bool value) { return record({BOOL, nullptr, nullptr, value, 0}); }
    bool Int(int value) { return Int64(value); }
    bool Uint(unsigned value) { return Int64(value); }
    bool Int64(int64_t value) { return record({INTEGER, nullptr, nullptr, value, 0}); }
    bool Uint64(uint64_t value) { return Int64(static_cast<int64_t>(value)); }
    bool Double(double value) { return record({DOUBLE, nullptr, nullptr, 0, value}); }
    bool String(const char* text, rapidjson::SizeType size, bool)
    {
        return record({TEXT, nullptr, keep(text, size), 0, 0});
    }
    bool Key(const char* text, rapidjson::SizeType size, bool)
    {
        _key = keep(text, size);
        return true;
    }
    bool StartObject() { return record({OBJECT, nullptr, nullptr, 0, 0}); }
    bool EndObject(rapidjson::SizeType) { return record({END_OBJECT, nullptr, nullptr, 0, 0}); }
    bool StartArray() { return record({ARRAY, nullptr, nullptr, 0, 0}); }
    bool EndArray(rapidjson::SizeType) { return record({END_ARRAY, nullptr, nullptr, 0, 0}); }

    const std::vector<Event>& events() const { return _events; }

private:
    const std::string* keep(const char* text, size_t size)
    {
        _texts.emplace_back(text, size);
        return &_texts.back();
    }

    bool record(Event event)
    {
        event.key = _key;
        _key = nullptr;
        _events.push_back(event);
        return true;
    }

    std::vector<Event> _events;
    std::deque<std::string> _texts;
    const std::string* _key = nullptr;
};

const Recording& recordingOf(int64_t number)
{
    static const Recording RECORDINGS[] = {Recording("twitter.json"), Recording("citm_catalog.json"),
                                           Recording("canada.json")};
    return RECORDINGS[number];
}

void replayMember(json::JsonGen& gen, const char* key, const Event& event)
{
    switch (event.kind) {
    case TEXT:
        gen.add(key, event.text->c_str());
        break;
    case INTEGER:
        gen.add(key, event.integer);
        break;
    case DOUBLE:
        gen.add(key, event.number, 6);
        break;
    case BOOL:
        gen.add(key, event.integer != 0);
        break;
    default:
        gen.add(key, json::JsonGen::NullType());
    }
}

void replayValue(json::JsonGen& gen, const Event& event)
{
    switch (event.kind) {
    case TEXT:
        gen.add(event.text->c_str());
        break;
    case INTEGER:
        gen.add(event.integer);
        break;
    case DOUBLE:
        gen.add(event.number, 6);
        break;
    case BOOL:
        gen.add(event.integer != 0);
        break;
    default:
        gen.add(json::JsonGen::NullType());
    }
}

void replay(json::JsonGen& gen, const std::vector<Event>& events)
{
    for (const Event& event : events) {
        const char* const key = event.key == nullptr ? nullptr : event.key->c_str();
        if (event.kind == OBJECT)
            gen.object(key);
        else if (event.kind == ARRAY)
            gen.array(key);
        else if (event.kind == END_OBJECT || event.kind == END_ARRAY)
            gen.end();
        else if (key != nullptr)
            replayMember(gen, key, event);
        else
            replayValue(gen, event);
    }
}

void replay(rapidjson::Writer<rapidjson::StringBuffer>& writer, const std::vector<Event>& events)
{
    for (const Event& event : events) {
        // As with a tree whose texts are NUL-terminated, the writer finds their lengths.
        if (event.key != nullptr)
            writer.Key(event.key->c_str());
        switch (event.kind) {
        case OBJECT:
            writer.StartObject();
            break;
        case ARRAY:
            writer.StartArray();
            break;
        case END_OBJECT:
            writer.EndObject();
            break;
        case END_ARRAY:
            writer.EndArray();
            break;
        case TEXT:
            writer.String(event.text->c_str());
            break;
        case INTEGER:
            writer.Int64(event.integer);
            break;
        case DOUBLE:
            writer.Double(event.number);
            break;
        case BOOL:
            writer.Bool(event.integer != 0);
            break;
        default:
            writer.Null();
        }
    }
}

void writeWithJsonGen(benchmark::State& state)
{
    const std::vector<Event>& events = recordingOf(state.range(0)).events();
    unsigned int length = 0;
    for (auto _ : state) {
        json::JsonGen gen;
        replay(gen, events);
        gen.nullTerminate();
        length = gen.getLength();
        benchmark::DoNotOptimize(gen.getData());
    }
    state.counters["bytes"] = length;
}

void writeWithPeer(benchmark::State& state)
{
    const std::vector<Event>& events = recordingOf(state.range(0)).events();
    size_t length = 0;
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        replay(writer, events);
        benchmark::DoNotOptimize(buffer.GetString());
        length = buffer.GetSize();
    }
    state.counters["bytes"] = static_cast<double>(length);
}

BENCHMARK(writeWithJsonGen)->ArgName("document")->DenseRange(0, 2);
BENCHMARK(writeWithPeer)->ArgName("document")->DenseRange(0, 2);

} // namespace

BENCHMARK_MAIN();
