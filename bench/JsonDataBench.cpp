// One value out of a document of 1 KB: the query in place beside our own parse to a tree.
#include "bench/Benchmarks.h"
#include "json/JsonData.h"
#include "json/JsonDeserializer.h"
#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/DataObjectHandler.h"

namespace {

const unsigned int SENSOR = 6;

/// The value asked for is the last of all.
std::string makeDocument()
{
    std::string text = "{\"network\": {\"mtu\": 1500, \"timeouts\": [5, 10, 30]}, \"sensors\": [";
    for (unsigned int i = 0; i <= SENSOR; ++i) {
        const std::string number = std::to_string(i);
        text += (i == 0 ? "" : ", ");
        text += "{\"id\": " + number + ", \"offsets\": [" + number + ", 12, 345], \"label\": \"sensor number " + number;
        text += "\", \"range\": {\"low\": -40, \"high\": 125}, \"enabled\": true, \"period\": 1000}";
    }
    return text + "], \"restarts\": 17}";
}

void queryInPlace(benchmark::State& state, bool isLast)
{
    const std::string text = makeDocument();
    const json::JsonData document(text.data(), static_cast<unsigned int>(text.size()));
    for (auto _ : state) {
        const json::JsonData value = isLast ? document("restarts") : document("sensors")[SENSOR]("range")("high");
        const int number = value.toInt();
        if (number != (isLast ? 17 : 125))
            abort();
    }
}

void parseToTree(benchmark::State& state, bool isLast)
{
    const std::string text = makeDocument();
    for (auto _ : state) {
        Ostrel::ByteArrayInputStream stream(reinterpret_cast<const unsigned char*>(text.data()),
                                            static_cast<unsigned int>(text.size()));
        Ostrel::DataObjectHandler handler;
        json::JsonDeserializer deserializer;
        deserializer.parse(stream, handler);
        const Ostrel::DataObject& root = *handler.getRoot();
        const Ostrel::DataObject& value =
            isLast ? root.get("restarts") : root.get("sensors").get(SENSOR).get("range").get("high");
        if (value.toInt(0) != (isLast ? 17 : 125))
            abort();
    }
}

} // namespace

void registerJsonDataBenchmarks()
{
    for (const bool isLast : {false, true}) {
        const char* const input = isLast ? "1 KB, last member" : "1 KB, nested";
        addBenchmark("one value out of JSON", input, "ostrel", queryInPlace, isLast);
        addBenchmark("one value out of JSON", input, "our tree", parseToTree, isLast);
    }
}
