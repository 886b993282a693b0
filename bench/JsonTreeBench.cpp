// JSON text to a tree and back to nothing, and a tree to JSON text.
#include "bench/Benchmarks.h"
#include "json/JsonDeserializer.h"
#include "json/JsonParser.h"
#include "json/JsonSerializer.h"
#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/DataObjectHandler.h"

#ifdef HAVE_CJSON
#include <cjson/cJSON.h>
#endif
#ifdef HAVE_JANSSON
#include <jansson.h>
#endif
#ifdef HAVE_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif
#ifdef HAVE_YAJL
#include <yajl/yajl_tree.h>
#endif

namespace {

const unsigned char* getBytes(const Document& document)
{
    return reinterpret_cast<const unsigned char*>(document.text.data());
}

void readTree(const Document& document, Ostrel::DataObjectHandler& handler)
{
    Ostrel::ByteArrayInputStream stream(getBytes(document), static_cast<unsigned int>(document.text.size()));
    json::JsonDeserializer deserializer;
    if (deserializer.parse(stream, handler) != 0)
        abort();
}

/// Whether written trees can be compared: our serializers write integers only, so fractions must be rare.
bool hasMostlyIntegers(const Document& document)
{
    struct NumberCounter : json::JsonParser::EventHandler
    {
        void onInteger(json::JsonParser*, const char*, int) override { ++integers; }
        void onInteger(json::JsonParser*, const char*, long long) override { ++integers; }
        void onDouble(json::JsonParser*, const char*, double) override { ++doubles; }
        unsigned int integers = 0;
        unsigned int doubles = 0;
    } numbers;
    json::JsonParser(&numbers).parse(document.text.data(), static_cast<unsigned int>(document.text.size()));
    return numbers.doubles <= numbers.integers;
}

void buildOurs(benchmark::State& state, const Document& document)
{
    for (auto _ : state) {
        Ostrel::DataObjectHandler handler;
        readTree(document, handler);
        benchmark::DoNotOptimize(handler.getRoot().get());
    }
}

void writeOurs(benchmark::State& state, const Document& document)
{
    Ostrel::DataObjectHandler handler;
    readTree(document, handler);
    for (auto _ : state) {
        json::JsonSerializer serializer;
        handler.getRoot()->serialize(serializer);
        benchmark::DoNotOptimize(serializer.getData());
    }
}

#ifdef HAVE_CJSON
void buildCjson(benchmark::State& state, const Document& document)
{
    for (auto _ : state) {
        cJSON* root = cJSON_Parse(document.text.c_str());
        benchmark::DoNotOptimize(root);
        cJSON_Delete(root);
    }
}

void writeCjson(benchmark::State& state, const Document& document)
{
    cJSON* root = cJSON_Parse(document.text.c_str());
    for (auto _ : state) {
        char* text = cJSON_PrintUnformatted(root);
        benchmark::DoNotOptimize(text);
        cJSON_free(text);
    }
    cJSON_Delete(root);
}
#endif

#ifdef HAVE_JANSSON
void buildJansson(benchmark::State& state, const Document& document)
{
    for (auto _ : state) {
        json_t* root = json_loads(document.text.c_str(), 0, nullptr);
        benchmark::DoNotOptimize(root);
        json_decref(root);
    }
}

void writeJansson(benchmark::State& state, const Document& document)
{
    json_t* root = json_loads(document.text.c_str(), 0, nullptr);
    for (auto _ : state) {
        char* text = json_dumps(root, JSON_COMPACT);
        benchmark::DoNotOptimize(text);
        free(text);
    }
    json_decref(root);
}
#endif

#ifdef HAVE_RAPIDJSON
void buildRapidjson(benchmark::State& state, const Document& document)
{
    for (auto _ : state) {
        rapidjson::Document root;
        root.Parse(document.text.c_str());
        benchmark::DoNotOptimize(root.IsObject());
    }
}

void writeRapidjson(benchmark::State& state, const Document& document)
{
    rapidjson::Document root;
    root.Parse(document.text.c_str());
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        root.Accept(writer);
        benchmark::DoNotOptimize(buffer.GetString());
    }
}
#endif

#ifdef HAVE_YAJL
void buildYajl(benchmark::State& state, const Document& document)
{
    for (auto _ : state) {
        yajl_val root = yajl_tree_parse(document.text.c_str(), nullptr, 0);
        benchmark::DoNotOptimize(root);
        yajl_tree_free(root);
    }
}
#endif

} // namespace

void registerJsonTreeBenchmarks(const Document& document)
{
    const char* const BUILD = "JSON to tree and free";
    addBenchmark(BUILD, document.name, "ostrel", buildOurs, document);
#ifdef HAVE_CJSON
    addBenchmark(BUILD, document.name, "cJSON", buildCjson, document);
#endif
#ifdef HAVE_JANSSON
    addBenchmark(BUILD, document.name, "jansson", buildJansson, document);
#endif
#ifdef HAVE_RAPIDJSON
    addBenchmark(BUILD, document.name, "RapidJSON", buildRapidjson, document);
#endif
#ifdef HAVE_YAJL
    addBenchmark(BUILD, document.name, "yajl", buildYajl, document);
#endif
    if (!hasMostlyIntegers(document))
        return;
    const char* const WRITE = "tree to JSON";
    addBenchmark(WRITE, document.name, "ostrel", writeOurs, document);
#ifdef HAVE_CJSON
    addBenchmark(WRITE, document.name, "cJSON", writeCjson, document);
#endif
#ifdef HAVE_JANSSON
    addBenchmark(WRITE, document.name, "jansson", writeJansson, document);
#endif
#ifdef HAVE_RAPIDJSON
    addBenchmark(WRITE, document.name, "RapidJSON", writeRapidjson, document);
#endif
}
