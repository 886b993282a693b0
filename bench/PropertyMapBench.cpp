// Property maps beside other ways to keep and ship typed properties: integers, doubles and short texts in turn, under
// keys that come in no order. Peers are measured where their headers are found.
#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <variant>

#include "bench/Benchmarks.h"
#include "ostrel/PropertyMap.h"
#include "ostrel/Unaligned.h"

#ifdef HAVE_FLATBUFFERS
#include <flatbuffers/flexbuffers.h>
#endif
#ifdef HAVE_MSGPACK
#include <msgpack.hpp>
#endif
#ifdef HAVE_GLIB
#include <glib.h>
#endif

namespace {

using Variant = std::variant<int, double, std::string>;
using StandardMap = std::map<int, Variant>;

enum Kind { INTEGER, DOUBLE, TEXT, KINDS };

const unsigned int PICKS = 65536;

struct Property
{
    int key;
    Kind kind;
    std::string keyText;
    std::string text;
};

std::vector<Property> makeProperties(int count)
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

/// Which properties to look up: so many that no processor learns their order by heart.
std::vector<uint16_t> pickAtRandom(const std::vector<Property>& properties)
{
    std::vector<uint16_t> picks;
    std::mt19937 random(2);
    for (unsigned int i = 0; i < PICKS; ++i)
        picks.push_back(static_cast<uint16_t>(random() % properties.size()));
    return picks;
}

double toDouble(int key)
{
    return key * 0.25;
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

void insertIntoPropertyMap(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    for (auto _ : state) {
        PropertyMap map(buffer, sizeof(buffer));
        insertAll(map, properties);
        benchmark::DoNotOptimize(buffer);
    }
}

void insertIntoStandardMap(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    for (auto _ : state) {
        StandardMap map;
        insertAll(map, properties);
        benchmark::DoNotOptimize(map);
    }
}

void lookUpInPropertyMap(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    PropertyMap map(buffer, sizeof(buffer));
    insertAll(map, properties);
    const std::vector<uint16_t> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (uint16_t pick : picks) {
            const Property& p = properties[pick];
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
}

void lookUpInStandardMap(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    StandardMap map;
    insertAll(map, properties);
    const std::vector<uint16_t> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (uint16_t pick : picks) {
            const Property& p = properties[pick];
            const Variant& value = map.find(p.key)->second;
            if (p.kind == INTEGER)
                benchmark::DoNotOptimize(*std::get_if<int>(&value));
            else if (p.kind == DOUBLE)
                benchmark::DoNotOptimize(*std::get_if<double>(&value));
            else
                benchmark::DoNotOptimize(std::get_if<std::string>(&value)->c_str());
        }
    }
}

void updatePropertyMap(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    PropertyMap map(buffer, sizeof(buffer));
    insertAll(map, properties);
    const std::vector<uint16_t> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (uint16_t pick : picks) {
            const Property& p = properties[pick];
            if (p.kind == INTEGER)
                map.set(p.key, p.key);
            else if (p.kind == DOUBLE)
                map.set(p.key, toDouble(p.key));
            else
                map.set(p.key, p.text.c_str());
        }
        benchmark::ClobberMemory();
    }
}

void updateStandardMap(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    StandardMap map;
    insertAll(map, properties);
    const std::vector<uint16_t> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (uint16_t pick : picks) {
            const Property& p = properties[pick];
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
}

void removeFromPropertyMap(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    PropertyMap full(form, static_cast<unsigned int>(64 * count)); // no more, since it is copied each time
    insertAll(full, properties);
    PropertyMap map(buffer);
    for (auto _ : state) {
        state.PauseTiming();
        full.serialize(buffer);
        state.ResumeTiming();
        for (const Property& p : properties)
            map.removeKey(p.key);
    }
}

void removeFromStandardMap(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    for (auto _ : state) {
        state.PauseTiming();
        StandardMap map;
        insertAll(map, properties);
        state.ResumeTiming();
        for (const Property& p : properties)
            map.erase(p.key);
    }
}

void externalizePropertyMap(benchmark::State& state, int count)
{
    PropertyMap map(buffer, sizeof(buffer));
    insertAll(map, makeProperties(count));
    for (auto _ : state)
        benchmark::DoNotOptimize(map.externalize(form, sizeof(form)));
}

void readBackPropertyMap(benchmark::State& state, int count)
{
    PropertyMap map(buffer, sizeof(buffer));
    insertAll(map, makeProperties(count));
    map.externalize(form, sizeof(form));
    for (auto _ : state) {
        const unsigned char* cursor = form;
        benchmark::DoNotOptimize(map.initialize(&cursor));
    }
}

using Bytes = std::vector<unsigned char>;

/// Texts of 8 bytes under the keys from 1 on, and a nested map under 0 where one is given. Written by hand, since
/// inserting so many takes long.
Bytes makeTexts(unsigned int count, const Bytes& nested, bool shuffled)
{
    const unsigned int VALUE = 8;
    const unsigned int textsAt = 8 + (nested.empty() ? 0 : static_cast<unsigned int>(nested.size()) + 4);
    const unsigned int entries = count + (nested.empty() ? 0 : 1);
    Bytes bytes(textsAt + VALUE * count + 8 * entries);
    PropertyMap map(bytes.data(), static_cast<unsigned int>(bytes.size()));
    if (!nested.empty())
        map.insert(0, PropertyMap(const_cast<unsigned char*>(nested.data())));
    map.setKeyTableOffset(static_cast<uint32_t>(bytes.size()) - 8 * entries);
    unsigned char* entry = bytes.data() + map.getKeyTableOffset();
    if (!nested.empty()) {
        memcpy(entry, bytes.data() + bytes.size() - 8, 8);
        entry += 8;
    }
    std::vector<unsigned int> places(count);
    std::iota(places.begin(), places.end(), 0);
    if (shuffled)
        std::shuffle(places.begin(), places.end(), std::mt19937(1));
    for (unsigned int i = 0; i < count; ++i, entry += 8) {
        memcpy(bytes.data() + textsAt + VALUE * i, "a value", VALUE);
        Ostrel::storeLE32(entry, (i + 1) << 8 | PM_TYPE_STRING << 1);
        Ostrel::storeU32(entry + 4, textsAt + VALUE * places[i]);
    }
    return bytes;
}

Bytes makeNestedTexts(unsigned int depth, unsigned int count)
{
    Bytes bytes = makeTexts(count, {}, false);
    for (; depth != 0; --depth)
        bytes = makeTexts(count, bytes, false);
    return bytes;
}

void checkPropertyMap(benchmark::State& state, const Bytes& bytes)
{
    for (auto _ : state) {
        if (!PropertyMap::isWellFormed(bytes.data(), static_cast<unsigned int>(bytes.size())))
            state.SkipWithError("not well-formed");
    }
}

void checkForm(benchmark::State& state, const Bytes& bytes)
{
    const PropertyMap map(const_cast<unsigned char*>(bytes.data()));
    Bytes target(map.externalize(nullptr, 0));
    map.externalize(target.data(), static_cast<unsigned int>(target.size()));
    for (auto _ : state) {
        if (!PropertyMap::isWellFormedExternalized(target.data(), static_cast<unsigned int>(target.size()), nullptr))
            state.SkipWithError("not well-formed");
    }
}

void registerChecks(const std::string& input, const Bytes& bytes)
{
    addBenchmark("property map check", input, "ostrel", checkPropertyMap, bytes);
    addBenchmark("property map check", input, "its form", checkForm, bytes);
}

#ifdef HAVE_FLATBUFFERS
const size_t FIRST_FLEX_SIZE = 256; // its own choice; it grows

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

void insertIntoFlexBuffers(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    flexbuffers::Builder builder(FIRST_FLEX_SIZE, flexbuffers::BUILDER_FLAG_NONE);
    for (auto _ : state) {
        builder.Clear();
        build(builder, properties);
        benchmark::DoNotOptimize(builder.GetBuffer().data());
    }
}

void lookUpInFlexBuffers(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    flexbuffers::Builder builder(FIRST_FLEX_SIZE, flexbuffers::BUILDER_FLAG_NONE);
    build(builder, properties);
    const flexbuffers::Map map = flexbuffers::GetRoot(builder.GetBuffer()).AsMap();
    const std::vector<uint16_t> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (uint16_t pick : picks) {
            const Property& p = properties[pick];
            const flexbuffers::Reference value = map[p.keyText.c_str()];
            if (p.kind == INTEGER)
                benchmark::DoNotOptimize(value.AsInt32());
            else if (p.kind == DOUBLE)
                benchmark::DoNotOptimize(value.AsDouble());
            else
                benchmark::DoNotOptimize(value.AsString().c_str());
        }
    }
}
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

void externalizeMessagePack(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    msgpack::sbuffer target;
    for (auto _ : state) {
        pack(target, properties);
        benchmark::DoNotOptimize(target.data());
    }
}

void readBackMessagePack(benchmark::State& state, int count)
{
    msgpack::sbuffer source;
    pack(source, makeProperties(count));
    for (auto _ : state) {
        const msgpack::object_handle object = msgpack::unpack(source.data(), source.size());
        benchmark::DoNotOptimize(object.get().via.map.size);
    }
}
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

void insertIntoGVariant(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    for (auto _ : state)
        g_variant_unref(build(properties));
}

void lookUpInGVariant(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    GVariant* map = build(properties);
    const std::vector<uint16_t> picks = pickAtRandom(properties);
    for (auto _ : state) {
        for (uint16_t pick : picks)
            benchmark::DoNotOptimize(readAll(map, properties[pick].key));
    }
    g_variant_unref(map);
}

void externalizeGVariant(benchmark::State& state, int count)
{
    const std::vector<Property> properties = makeProperties(count);
    for (auto _ : state) {
        // A built value is serialized once and then kept so.
        GVariant* map = build(properties);
        benchmark::DoNotOptimize(g_variant_get_size(map)); // storing relies on it
        g_variant_store(map, form);
        g_variant_unref(map);
    }
}

void readBackGVariant(benchmark::State& state, int count)
{
    GVariant* map = build(makeProperties(count));
    const gsize size = g_variant_get_size(map);
    g_variant_store(map, form);
    g_variant_unref(map);
    for (auto _ : state) {
        GVariant* read =
            g_variant_ref_sink(g_variant_new_from_data(G_VARIANT_TYPE("a{iv}"), form, size, FALSE, nullptr, nullptr));
        benchmark::DoNotOptimize(readAll(read, -1));
        g_variant_unref(read);
    }
}
#endif

} // namespace

void registerPropertyMapBenchmarks()
{
    registerChecks("16 MB of texts", makeTexts(1000000, {}, false));
    registerChecks("16 MB, shuffled", makeTexts(1000000, {}, true));
    registerChecks("16 MB in 64 maps", makeNestedTexts(63, 15600));
    for (int count : {8, 64, 512}) {
        const std::string input = std::to_string(count) + " keys";
        addBenchmark("property map insert", input, "ostrel", insertIntoPropertyMap, count);
        addBenchmark("property map insert", input, "std::map", insertIntoStandardMap, count);
        addBenchmark("property map lookup", input, "ostrel", lookUpInPropertyMap, count);
        addBenchmark("property map lookup", input, "std::map", lookUpInStandardMap, count);
        addBenchmark("property map update", input, "ostrel", updatePropertyMap, count);
        addBenchmark("property map update", input, "std::map", updateStandardMap, count);
        addBenchmark("property map remove", input, "ostrel", removeFromPropertyMap, count);
        addBenchmark("property map remove", input, "std::map", removeFromStandardMap, count);
        addBenchmark("property map externalize", input, "ostrel", externalizePropertyMap, count);
        addBenchmark("property map read back", input, "ostrel", readBackPropertyMap, count);
#ifdef HAVE_FLATBUFFERS
        addBenchmark("property map insert", input, "FlexBuffers", insertIntoFlexBuffers, count);
        addBenchmark("property map lookup", input, "FlexBuffers", lookUpInFlexBuffers, count);
#endif
#ifdef HAVE_MSGPACK
        addBenchmark("property map externalize", input, "msgpack-c", externalizeMessagePack, count);
        addBenchmark("property map read back", input, "msgpack-c", readBackMessagePack, count);
#endif
#ifdef HAVE_GLIB
        addBenchmark("property map insert", input, "GVariant", insertIntoGVariant, count);
        addBenchmark("property map lookup", input, "GVariant", lookUpInGVariant, count);
        addBenchmark("property map externalize", input, "GVariant", externalizeGVariant, count);
        addBenchmark("property map read back", input, "GVariant", readBackGVariant, count);
#endif
    }
}
