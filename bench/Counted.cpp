// ostrel_counted WORK ROUNDS [JSON FILE]: does one work of a family so many times, and says where the program lies in
// memory; without arguments it names the works. bench/counts runs it under qemu-arm, which counts the instructions.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "json/JsonData.h"
#include "json/JsonDeserializer.h"
#include "json/JsonGen.h"
#include "json/JsonParser.h"
#include "json/JsonSerializer.h"
#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/DataObjectHandler.h"
#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/DynamicLookupTable.h"
#include "ostrel/FifoBuffer.h"
#include "ostrel/HeapStack.h"
#include "ostrel/MemPool.h"
#include "ostrel/MimeInputStream.h"
#include "ostrel/Observable/Observable.h"
#include "ostrel/PropertyMap.h"
#include "ostrel/SAXParser.h"
#include "ostrel/StringUtils.h"
#include "xml/XmlSerializer.h"

namespace {

using Work = std::function<void()>;
using Ostrel::DataObject;

const int COUNT = 64; // of values, keys, chunks, observers

std::string document;

std::string generateDocument()
{
    std::string text = "{\"devices\": [\n";
    for (int i = 0; i < COUNT; ++i) {
        const std::string number = std::to_string(i);
        text += (i == 0 ? "  {\"id\": " : ",\n  {\"id\": ") + number + ", \"name\": \"device " + number +
                "\", \"enabled\": true, \"address\": {\"host\": \"10.0.0." + number + "\", \"port\": 8080},\n" +
                "   \"readings\": [1600000" + number + ", 7, 48, 512, -3], \"note\": \"line one\\nline \\\"two\\\"\"}";
    }
    return text + "\n]}\n";
}

std::string generateNumbers(const char* fraction)
{
    std::string text = "[1";
    for (int i = 0; i < COUNT; ++i)
        text += ", " + std::to_string(i * 48611 % 90000) + fraction + (i % 2 == 0 ? "" : ",-7");
    return text + "]";
}

std::string generateXml()
{
    std::string text = "<inventory site=\"north\">\n";
    for (int i = 0; i < COUNT; ++i) {
        text += "  <device id=\"" + std::to_string(i) + "\" type=\"sensor\">\n    <name>Hall &amp; yard</name>\n" +
                "    <reading at=\"1600000000\">4711</reading>\n  </device>\n";
    }
    return text + "</inventory>\n";
}

void readEvents(const std::string& text)
{
    json::JsonParser::EventHandler handler;
    json::JsonParser(&handler).parse(text.data(), static_cast<unsigned int>(text.size()));
}

void readTree(Ostrel::DataObjectHandler& handler)
{
    Ostrel::ByteArrayInputStream stream(document.c_str());
    json::JsonDeserializer deserializer;
    if (deserializer.parse(stream, handler) != 0)
        abort();
}

template <class Serializer>
Work writeTree()
{
    auto handler = std::make_shared<Ostrel::DataObjectHandler>();
    readTree(*handler);
    return [handler] {
        Serializer serializer;
        handler->getRoot()->serialize(serializer);
        if (serializer.getData() == nullptr)
            abort();
    };
}

Work writeNumbers()
{
    return [] {
        json::JsonGen gen;
        gen.array(nullptr);
        long long integer = 7;
        for (int i = 0; i < COUNT; ++i, integer = integer * 3 % 1000000000000007)
            gen.add(integer);
        gen.end();
    };
}

Work writeDoubles()
{
    return [] {
        json::JsonGen gen;
        gen.array(nullptr);
        for (int i = 0; i < COUNT; ++i)
            gen.add(i * 21.5 / 4, 2);
        gen.end();
    };
}

Work queryJson()
{
    return [] { json::JsonData(document.c_str())("devices")[COUNT / 2]("address")("port").toInt(); };
}

struct SaxCounter : Ostrel::SAXHandler
{
    void startElement(const std::string&, const std::map<std::string, std::string>&) override {}
    void endElement(const std::string&) override {}
    void charData(const std::string&) override {}
    void finished() override {}
    bool parseError() override { abort(); }
};

void parseXml(Ostrel::SAXHandler& handler)
{
    static const std::string text = generateXml();
    Ostrel::SAXParser parser(handler);
    parser.startDocument();
    parser.parse(text.data(), static_cast<unsigned int>(text.size()));
    parser.endDocument();
}

int getKey(int i)
{
    return 1000 + 7 * (i * 29 % COUNT); // in no order
}

unsigned char mapBytes[8192];
unsigned char formBytes[8192];

void insertAll(PropertyMap& map)
{
    for (int i = 0; i < COUNT; ++i) {
        const int key = getKey(i);
        if (i % 3 == 0)
            map.insert(key, key);
        else if (i % 3 == 1)
            map.insert(key, key * 0.25);
        else
            map.insert(key, "a short text");
    }
}

Work insertIntoMap()
{
    return [] {
        PropertyMap map(mapBytes, sizeof(mapBytes));
        insertAll(map);
    };
}

template <class Use>
Work useMap(Use use)
{
    PropertyMap map(mapBytes, sizeof(mapBytes));
    insertAll(map);
    map.externalize(formBytes, sizeof(formBytes));
    return use;
}

Work lookUpInMap()
{
    return useMap([] {
        const PropertyMap map(mapBytes);
        int number;
        double real;
        const char* text;
        for (int i = 0; i < COUNT; ++i) {
            map.get(getKey(i), &number);
            map.get(getKey(i), &real);
            map.get(getKey(i), &text);
        }
    });
}

Work updateMap()
{
    return useMap([] {
        PropertyMap map(mapBytes);
        for (int i = 0; i < COUNT; ++i)
            map.set(getKey(i), i);
    });
}

Work writeForm()
{
    return useMap([] { PropertyMap(mapBytes).externalize(formBytes, sizeof(formBytes)); });
}

Work readForm()
{
    return useMap([] {
        const unsigned char* form = formBytes;
        PropertyMap(mapBytes, sizeof(mapBytes)).initialize(&form);
    });
}

Work compareTexts(const char* a, const char* b)
{
    return [a, b] {
        for (int i = 0; i < COUNT; ++i)
            Ostrel::stringCompareInsensitive(a, b);
    };
}

Work findText()
{
    return [] { Ostrel::findIgnoreCase(document.c_str(), "Device 50"); };
}

Work countCharacters()
{
    return [] { Ostrel::getUtf8Length(document.c_str()); };
}

Work lookUpInTable()
{
    using Table = Ostrel::DynamicLookupTable<int, const char*>;
    auto keys = std::make_shared<std::vector<std::string>>();
    for (int i = 0; i < COUNT; ++i)
        keys->push_back("Device_" + std::to_string(i * 29 % COUNT));
    auto table = std::make_shared<Table>();
    for (const std::string& key : *keys)
        table->set(key.c_str(), 1);
    return [keys, table] {
        for (const std::string& key : *keys)
            table->get(key.c_str());
    };
}

Work buildByFormat()
{
    return [] {
        DataObject::parse("{'host': %s, 'port': %d, 'name': 'kitchen', 'limits': [1, 20, 300], 'serial': %lld",
                          "gateway.local", 8080, 5000000000LL);
    };
}

Work usePool()
{
    auto pool = std::make_shared<Ostrel::DynamicMemPool>(40, COUNT);
    return [pool] {
        void* chunks[COUNT];
        for (void*& chunk : chunks)
            chunk = pool->allocate();
        for (void* chunk : chunks)
            pool->release(chunk);
    };
}

Work useStack()
{
    return [] {
        Ostrel::HeapStack stack(mapBytes, sizeof(mapBytes));
        unsigned char* pieces[COUNT];
        for (unsigned char*& piece : pieces)
            piece = stack.allocate(40);
        for (int i = COUNT; i-- > 0;)
            stack.free(pieces[i]);
    };
}

Work passThroughFifo()
{
    auto fifo = std::make_shared<Ostrel::FifoBuffer>(4096U);
    return [fifo] {
        unsigned char bytes[COUNT] = {};
        unsigned char* data;
        for (int i = 0; i < COUNT; ++i) {
            fifo->write(bytes, sizeof(bytes));
            fifo->read(data);
        }
    };
}

struct Subject
{
    struct Receiver : Ostrel::Observer
    {
        void notify(Ostrel::Observable*, const int&, const void*) override {}
    };

    Receiver receivers[COUNT];
    char buffer[8 * COUNT];
    Ostrel::Observable observable{nullptr, Ostrel::AutoPtr<Ostrel::ObservableImplementation>(
                                               new Ostrel::PiloObservableImpl(buffer, sizeof(buffer)))};
};

Work notifyAll()
{
    auto subject = std::make_shared<Subject>();
    for (Subject::Receiver& receiver : subject->receivers)
        subject->observable.addObserver(7, &receiver);
    return [subject] { subject->observable.notifyObservers(7); };
}

Work encodeBase64()
{
    return [] {
        Ostrel::SharedPtr<Ostrel::InputStream> bytes(new Ostrel::ByteArrayInputStream(document.c_str()));
        Ostrel::MimeInputStream encoded(bytes, static_cast<unsigned int>(document.size()));
        unsigned char piece[512];
        while (encoded.read(piece, sizeof(piece)) > 0) {
        }
    };
}

Work parseDocument(const std::string& text)
{
    return [text] { readEvents(text); };
}

struct Row
{
    const char* name;
    std::function<Work()> make;
};

const Row ROWS[] = {
    {"json-events", [] { return parseDocument(document); }},
    {"json-integers", [] { return parseDocument(generateNumbers("")); }},
    {"json-doubles", [] { return parseDocument(generateNumbers(".250981")); }},
    {"json-long-doubles", [] { return parseDocument(generateNumbers(".61390099999998")); }},
    {"json-query", queryJson},
    {"json-write-integers", writeNumbers},
    {"json-write-doubles", writeDoubles},
    {"tree-from-json",
     [] {
         return [] {
             Ostrel::DataObjectHandler handler;
             readTree(handler);
         };
     }},
    {"tree-to-json", writeTree<json::JsonSerializer>},
    {"tree-to-xml", writeTree<xml::XmlSerializer>},
    {"tree-by-format", buildByFormat},
    {"tree-from-xml",
     [] {
         return [] {
             Ostrel::DataObjectSaxHandler handler;
             parseXml(handler);
         };
     }},
    {"xml-events",
     [] {
         return [] {
             SaxCounter handler;
             parseXml(handler);
         };
     }},
    {"map-insert", insertIntoMap},
    {"map-lookup", lookUpInMap},
    {"map-update", updateMap},
    {"map-form", writeForm},
    {"map-from-form", readForm},
    {"text-compare", [] { return compareTexts("The name of a device", "The Name of a Device"); }},
    {"text-compare-greek", [] { return compareTexts("Όνομα συσκευής Журнал", "Όνομα Συσκευής журнал"); }},
    {"text-find", findText},
    {"text-count", countCharacters},
    {"table-lookup", lookUpInTable},
    {"pool", usePool},
    {"stack", useStack},
    {"fifo", passThroughFifo},
    {"notify", notifyAll},
    {"base64", encodeBase64},
};

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        for (const Row& row : ROWS)
            puts(row.name);
        return 0;
    }
    document = generateDocument();
    if (argc > 3) {
        std::ifstream file(argv[3], std::ios::binary);
        document.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    for (const Row& row : ROWS) {
        if (strcmp(row.name, argv[1]) == 0) {
            const Work work = row.make();
            for (int rounds = atoi(argv[2]); rounds > 0; --rounds)
                work();
        }
    }
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        puts(line.c_str());
}
