// JSON text to a tree and back to nothing, and a tree to JSON text.
#include "bench/Benchmarks.h"
#include "json/JsonDeserializer.h"
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
    addBenchmark("JSON to tree and free", document.name, "ostrel", buildOurs, document);
    addBenchmark("tree to JSON", document.name, "ostrel", writeOurs, document);
#ifdef HAVE_CJSON
    addBenchmark("JSON to tree and free", document.name, "cJSON", buildCjson, document);
    addBenchmark("tree to JSON", document.name, "cJSON", writeCjson, document);
#endif
#ifdef HAVE_JANSSON
    addBenchmark("JSON to tree and free", document.name, "jansson", buildJansson, document);
    addBenchmark("tree to JSON", document.name, "jansson", writeJansson, document);
#endif
#ifdef HAVE_RAPIDJSON
    addBenchmark("JSON to tree and free", document.name, "RapidJSON", buildRapidjson, document);
    addBenchmark("tree to JSON", document.name, "RapidJSON", writeRapidjson, document);
#endif
#ifdef HAVE_YAJL
    addBenchmark("JSON to tree and free", document.name, "yajl", buildYajl, document);
#endif
}
