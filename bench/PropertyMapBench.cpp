// Property maps beside other ways to keep and ship typed properties: integers, doubles and short texts in turn, under
// keys that come in no order. Peers are measured where their headers are found.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "ostrel/PropertyMap.h"

#if __has_include(<flatbuffers/flexbuffers.h>)
#define FLATBUFFERS_LOCALE_INDEPENDENT 0 // else its library must be linked, for the sake of texts as numbers
#include <flatbuffers/flexbuffers.h>
#define HAVE_FLEXBUFFERS
#endif
#if __has_include(<msgpack.hpp>)
#define MSGPACK_NO_BOOST
#include <msgpack.hpp>
#define HAVE_MSGPACK
#endif
#if __has_include(<glib.h>)
#include <glib.h>
#define HAVE_GLIB
#endif

namespace {

using Variant = std::variant<int, double, std::string>;
using StandardMap = std::map<int, Variant>;

enum Kind { INTEGER, DOUBLE, TEXT, KINDS };

const unsigned int PICKS = 8192;

struct Property
{
    int key;
    Kind kind;
    std::string keyText;
    std::string text;
};

std::vector<Property> makeProperties(long count)
{
    std::vector<Property> properties;
    for (int i = 0; i < count; ++i) {
        const int key = 1000 + 7 * i + i % 3;
        properties.push_back(
            {key, static_cast<Kind>(i % KINDS), std::to_string(key), "value " + std::to_string(i * 37)});
    }
    std::mt19937 random(1);
    std::shuffle(properties.begin(), properties.end(), random);
    return properties;
}

/// What to look up: long enough that no processor learns the order by heart.
std::vector<Property> pickAtRandom(const std::vector<Property>& properties)
{
    std::vector<Property> picks;
    std::mt19937 random(2);
    for (unsigned int i = 0; i < PICKS; ++i)
        picks.push_back(properties[random() % properties.size()]);
    return picks;
}

double toDouble(int key)
{
    return key * 0.25;
}

void count(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void insertAll(PropertyMap& map, const std::vector<Property>& properties)
{
    for (const Property& p : properties) {
        if (p.kind == INTEGER)
            map.insert(p.key, p.key);
        else if (p.kind == DOUBLE)
            map.insert(p.key, toDouble(p.key));
        else
            map.insert(p.key, p.text.c_str());
    }
}

void insertAll(StandardMap& map, const std::vector<Property>& properties)
{
    for (const Property& p : properties) {
        if (p.kind == INTEGER)
            map.emplace(p.key, p.key);
        else if (p.kind == DOUBLE)
            map.emplace(p.key, toDouble(p.key));
        else
            map.emplace(p.key, p.text);
    }
}

unsigned char buffer[65536];
unsigned char form[65536];

void insert_PropertyMap(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    for (auto _ : state) {
        PropertyMap map(buffer, sizeof(buffer));
        insertAll(map, properties);
        benchmark::DoNotOptimize(buffer);
    }
    count(state);
}

void insert_StandardMap(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    for (auto _ : state) {
        StandardMap map;
        insertAll(map, properties);
        benchmark::DoNotOptimize(map);
    }
    count(state);
}

void lookup_PropertyMap(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    PropertyMap map(buffer, sizeof(buffer));
    insertAll(map, properties);
    const std::vector<Property> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (const Property& p : picks) {
            int integer;
            double number;
            const char* text;
            if (p.kind == INTEGER)
                benchmark::DoNotOptimize(map.get(p.key, &integer));
            else if (p.kind == DOUBLE)
                benchmark::DoNotOptimize(map.get(p.key, &number));
            else
                benchmark::DoNotOptimize(map.get(p.key, &text));
        }
    }
    state.SetItemsProcessed(state.iterations() * PICKS);
}

void lookup_StandardMap(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    StandardMap map;
    insertAll(map, properties);
    const std::vector<Property> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (const Property& p : picks) {
            const Variant& value = map.find(p.key)->second;
            if (p.kind == INTEGER)
                benchmark::DoNotOptimize(*std::get_if<int>(&value));
            else if (p.kind == DOUBLE)
                benchmark::DoNotOptimize(*std::get_if<double>(&value));
            else
                benchmark::DoNotOptimize(std::get_if<std::string>(&value)->c_str());
        }
    }
    state.SetItemsProcessed(state.iterations() * PICKS);
}

void update_PropertyMap(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    PropertyMap map(buffer, sizeof(buffer));
    insertAll(map, properties);
    const std::vector<Property> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (const Property& p : picks) {
            if (p.kind == INTEGER)
                map.set(p.key, p.key);
            else if (p.kind == DOUBLE)
                map.set(p.key, toDouble(p.key));
            else
                map.set(p.key, p.text.c_str());
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * PICKS);
}

void update_StandardMap(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    StandardMap map;
    insertAll(map, properties);
    const std::vector<Property> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (const Property& p : picks) {
            Variant& value = map.find(p.key)->second;
            if (p.kind == INTEGER)
                *std::get_if<int>(&value) = p.key;
            else if (p.kind == DOUBLE)
                *std::get_if<double>(&value) = toDouble(p.key);
            else
                *std::get_if<std::string>(&value) = p.text.c_str();
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * PICKS);
}

void remove_PropertyMap(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    PropertyMap full(form, sizeof(form));
    insertAll(full, properties);
    PropertyMap map(buffer);
    for (auto _ : state) {
        state.PauseTiming();
        full.serialize(buffer);
        state.ResumeTiming();
        for (const Property& p : properties)
            map.removeKey(p.key);
    }
    count(state);
}

void remove_StandardMap(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        StandardMap map;
        insertAll(map, properties);
        state.ResumeTiming();
        for (const Property& p : properties)
            map.erase(p.key);
    }
    count(state);
}

void externalize_PropertyMap(benchmark::State& state)
{
    PropertyMap map(buffer, sizeof(buffer));
    insertAll(map, makeProperties(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(map.externalize(form, sizeof(form)));
    count(state);
}

void readBack_PropertyMap(benchmark::State& state)
{
    PropertyMap map(buffer, sizeof(buffer));
    insertAll(map, makeProperties(state.range(0)));
    map.externalize(form, sizeof(form));
    for (auto _ : state) {
        const unsigned char* cursor = form;
        benchmark::DoNotOptimize(map.initialize(&cursor));
    }
    count(state);
}

#define OWN_AND_STANDARD(work)                                                                                         \
    BENCHMARK(work##_PropertyMap)->Arg(8)->Arg(64)->Arg(512);                                                          \
    BENCHMARK(work##_StandardMap)->Arg(8)->Arg(64)->Arg(512)

OWN_AND_STANDARD(insert);
OWN_AND_STANDARD(lookup);
OWN_AND_STANDARD(update);
OWN_AND_STANDARD(remove);
BENCHMARK(externalize_PropertyMap)->Arg(8)->Arg(64)->Arg(512);
BENCHMARK(readBack_PropertyMap)->Arg(8)->Arg(64)->Arg(512);

#ifdef HAVE_FLEXBUFFERS
void build(flexbuffers::Builder& builder, const std::vector<Property>& properties)
{
    builder.Map([&] {
        for (const Property& p : properties) {
            if (p.kind == INTEGER)
                builder.Int(p.keyText.c_str(), p.key);
            else if (p.kind == DOUBLE)
                builder.Double(p.keyText.c_str(), toDouble(p.key));
            else
                builder.String(p.keyText.c_str(), p.text.c_str());
        }
    });
    builder.Finish();
}

void insert_FlexBuffers(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    for (auto _ : state) {
        flexbuffers::Builder builder;
        build(builder, properties);
        benchmark::DoNotOptimize(builder.GetBuffer().data());
    }
    count(state);
}

void lookup_FlexBuffers(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    flexbuffers::Builder builder;
    build(builder, properties);
    const flexbuffers::Map map = flexbuffers::GetRoot(builder.GetBuffer()).AsMap();
    const std::vector<Property> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (const Property& p : picks) {
            const flexbuffers::Reference value = map[p.keyText.c_str()];
            if (p.kind == INTEGER)
                benchmark::DoNotOptimize(value.AsInt32());
            else if (p.kind == DOUBLE)
                benchmark::DoNotOptimize(value.AsDouble());
            else
                benchmark::DoNotOptimize(value.AsString().c_str());
        }
    }
    state.SetItemsProcessed(state.iterations() * PICKS);
}

BENCHMARK(insert_FlexBuffers)->Arg(8)->Arg(64)->Arg(512);
BENCHMARK(lookup_FlexBuffers)->Arg(8)->Arg(64)->Arg(512);
#endif

#ifdef HAVE_MSGPACK
void pack(msgpack::sbuffer& target, const std::vector<Property>& properties)
{
    target.clear();
    msgpack::packer<msgpack::sbuffer> packer(target);
    packer.pack_map(static_cast<uint32_t>(properties.size()));
    for (const Property& p : properties) {
        packer.pack(p.key);
        if (p.kind == INTEGER) {
            packer.pack(p.key);
        } else if (p.kind == DOUBLE) {
            packer.pack(toDouble(p.key));
        } else {
            packer.pack_str(static_cast<uint32_t>(p.text.size()));
            packer.pack_str_body(p.text.data(), static_cast<uint32_t>(p.text.size()));
        }
    }
}

void externalize_MsgPack(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    msgpack::sbuffer target;
    for (auto _ : state) {
        pack(target, properties);
        benchmark::DoNotOptimize(target.data());
    }
    count(state);
}

void readBack_MsgPack(benchmark::State& state)
{
    msgpack::sbuffer source;
    pack(source, makeProperties(state.range(0)));
    for (auto _ : state) {
        const msgpack::object_handle object = msgpack::unpack(source.data(), source.size());
        benchmark::DoNotOptimize(object.get().via.map.size);
    }
    count(state);
}

BENCHMARK(externalize_MsgPack)->Arg(8)->Arg(64)->Arg(512);
BENCHMARK(readBack_MsgPack)->Arg(8)->Arg(64)->Arg(512);
#endif

#ifdef HAVE_GLIB
GVariant* toVariant(const Property& p)
{
    if (p.kind == INTEGER)
        return g_variant_new_int32(p.key);
    return p.kind == DOUBLE ? g_variant_new_double(toDouble(p.key)) : g_variant_new_string(p.text.c_str());
}

GVariant* build(const std::vector<Property>& properties)
{
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{iv}"));
    for (const Property& p : properties)
        g_variant_builder_add(&builder, "{iv}", p.key, toVariant(p));
    return g_variant_ref_sink(g_variant_builder_end(&builder));
}

int readAll(GVariant* map, int wanted)
{
    GVariantIter iter;
    g_variant_iter_init(&iter, map);
    gint32 key = 0;
    GVariant* value = nullptr;
    int read = 0;
    while (g_variant_iter_next(&iter, "{iv}", &key, &value)) {
        ++read;
        g_variant_unref(value);
        if (key == wanted)
            break;
    }
    return read;
}

void insert_GVariant(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    for (auto _ : state)
        g_variant_unref(build(properties));
    count(state);
}

void lookup_GVariant(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    GVariant* map = build(properties);
    const std::vector<Property> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (const Property& p : picks)
            benchmark::DoNotOptimize(readAll(map, p.key));
    }
    g_variant_unref(map);
    state.SetItemsProcessed(state.iterations() * PICKS);
}

void externalize_GVariant(benchmark::State& state)
{
    const std::vector<Property> properties = makeProperties(state.range(0));
    for (auto _ : state) {
        // A built value is serialized once and then kept so.
        GVariant* map = build(properties);
        g_variant_store(map, form);
        g_variant_unref(map);
    }
    count(state);
}

void readBack_GVariant(benchmark::State& state)
{
    GVariant* map = build(makeProperties(state.range(0)));
    const gsize size = g_variant_get_size(map);
    g_variant_store(map, form);
    g_variant_unref(map);
    for (auto _ : state) {
        GVariant* read =
            g_variant_ref_sink(g_variant_new_from_data(G_VARIANT_TYPE("a{iv}"), form, size, FALSE, nullptr, nullptr));
        benchmark::DoNotOptimize(readAll(read, -1));
        g_variant_unref(read);
    }
    count(state);
}

BENCHMARK(insert_GVariant)->Arg(8)->Arg(64)->Arg(512);
BENCHMARK(lookup_GVariant)->Arg(8)->Arg(64);
BENCHMARK(externalize_GVariant)->Arg(8)->Arg(64)->Arg(512);
BENCHMARK(readBack_GVariant)->Arg(8)->Arg(64)->Arg(512);
#endif

} // namespace
