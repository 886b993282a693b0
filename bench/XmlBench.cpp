// A tree to XML text, beside libraries that save a document of their own.
#include <random>

#include "bench/Benchmarks.h"
#include "ostrel/DataObject.h"
#include "xml/XmlSerializer.h"

#ifdef HAVE_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef HAVE_TINYXML2
#include <tinyxml2.h>
#endif

using Ostrel::AutoPtr;
using Ostrel::DataObject;
using Ostrel::DataObjectList;
using Ostrel::DataObjectMap;

namespace {

const char* const RECORDS = "1000 records";

AutoPtr<DataObject> makeRecord(int id, std::mt19937& random)
{
    AutoPtr<DataObject> address(new (std::nothrow) DataObjectMap);
    address->set("host", DataObject::createString(("10.0.0." + std::to_string(random() % 256)).c_str()));
    address->set("port", DataObject::createInt(static_cast<int>(random() % 65536)));
    AutoPtr<DataObject> record(new (std::nothrow) DataObjectMap);
    record->set("id", DataObject::createInt(id));
    record->set("name", DataObject::createString(("device " + std::to_string(id)).c_str()));
    record->set("serial", DataObject::createInt(static_cast<int>(random() >> 1)));
    record->set("address", std::move(address));
    record->set("note", DataObject::createString(random() % 4 == 0
                                                     ? "checked twice,\nlast time by \"night shift\""
                                                     : "installed on the second floor, beside the stairs to the roof"));
    return record;
}

/// One element at the top, since the libraries beside ours would have it so.
AutoPtr<DataObject> makeRecords()
{
    std::mt19937 random(1); // the same records in every run
    AutoPtr<DataObject> list(new (std::nothrow) DataObjectList);
    for (int id = 0; id < 1000; ++id)
        list->append(makeRecord(id, random));
    AutoPtr<DataObject> devices(new (std::nothrow) DataObjectMap);
    devices->set("device", std::move(list));
    AutoPtr<DataObject> root(new (std::nothrow) DataObjectMap);
    root->set("devices", std::move(devices));
    return root;
}

void writeOurs(benchmark::State& state)
{
    const AutoPtr<DataObject> root = makeRecords();
    for (auto _ : state) {
        xml::XmlSerializer serializer;
        root->serialize(serializer);
        benchmark::DoNotOptimize(serializer.getData());
    }
}

#if defined(HAVE_PUGIXML) || defined(HAVE_TINYXML2)
std::string makeText()
{
    xml::XmlSerializer serializer;
    makeRecords()->serialize(serializer);
    return std::string(serializer.getData(), serializer.getDataLength() - 1); // without its closing NUL
}
#endif

#ifdef HAVE_PUGIXML
class StringWriter : public pugi::xml_writer
{
public:
    void write(const void* data, size_t size) override { text.append(static_cast<const char*>(data), size); }

    std::string text;
};

void writePugixml(benchmark::State& state)
{
    const std::string source = makeText();
    pugi::xml_document document;
    if (!document.load_buffer(source.data(), source.size()))
        abort();
    for (auto _ : state) {
        StringWriter writer;
        document.save(writer, "", pugi::format_raw);
        benchmark::DoNotOptimize(writer.text.data());
    }
}
#endif

#ifdef HAVE_TINYXML2
void writeTinyxml2(benchmark::State& state)
{
    const std::string source = makeText();
    tinyxml2::XMLDocument document;
    if (document.Parse(source.data(), source.size()) != tinyxml2::XML_SUCCESS)
        abort();
    for (auto _ : state) {
        tinyxml2::XMLPrinter printer(nullptr, true);
        document.Print(&printer);
        benchmark::DoNotOptimize(printer.CStr());
    }
}
#endif

} // namespace

void registerXmlBenchmarks()
{
    addBenchmark("tree to XML", RECORDS, "ostrel", writeOurs);
#ifdef HAVE_PUGIXML
    addBenchmark("tree to XML", RECORDS, "pugixml", writePugixml);
#endif
#ifdef HAVE_TINYXML2
    addBenchmark("tree to XML", RECORDS, "tinyxml2", writeTinyxml2);
#endif
}
