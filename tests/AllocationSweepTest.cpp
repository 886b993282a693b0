#include "json/JsonData.h"
#include "json/JsonDeserializer.h"
#include "json/JsonParser.h"
#include "json/JsonSerializer.h"
#include "ostrel/BufferedOutputStream.h"
#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/DataObjectHandler.h"
#include "ostrel/DynamicPropertyMap.h"
#include "ostrel/FifoBuffer.h"
#include "ostrel/MemPool.h"
#include "ostrel/MimeInputStream.h"
#include "ostrel/property_map.h"
#include "tests/support/LogBuilder.h"
#include "tests/support/ReportTest.h"
#include "xml/XmlSerializer.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test across all families

namespace {

/// Does the same to its object each time, and says what came of it: nothing when it was refused. A report tells that
/// too, and `bad_alloc` where it may come.
using Operation = std::function<std::string()>;

struct Row
{
    const char* operations; ///< "Class: operation operation", which check_allocations.py reads.
    std::function<Operation()> start;
    bool throws = false; ///< As the headers say.
};

/// An operation on a new object.
template <class Object>
std::function<Operation()> on(std::string (*act)(Object&))
{
    return [act] { return [act, object = std::make_shared<Object>()] { return act(*object); }; };
}

/// An operation that makes its object each time.
std::function<Operation()> make(std::string (*act)())
{
    return [act] { return act; };
}

std::string see(const Serializable* value)
{
    const AllocationFaults::Pause pause;
    return value == nullptr ? "" : describe(value);
}

std::string see(const char* text, size_t length)
{
    const AllocationFaults::Pause pause;
    return text == nullptr ? "" : std::string(text, length);
}

const std::string LONG(3000, 'x');
const std::string DOCUMENT = "{\"l\":[1,null,[\"" + LONG + "\"],true],\"" + LONG + "\":{\"a\":\"b\"},\"k\":-7}";
unsigned char mapBuffer[64];

std::string seeFirst(const char* format)
{
    static const AutoPtr<DataObject> LIST = DataObject::parse("['x']"), MAP = DataObject::parse("{'k': 'y'}");
    const auto it = (*format == 'l' ? LIST : MAP)->iterator();
    return it == nullptr ? "" : see(&it->value());
}

template <class Gen>
std::string generate(Gen& gen)
{
    gen.reset().object(nullptr).object("o").add("k", LONG.c_str()).add("n", 12345).array(LONG.c_str()).add(1);
    const bool isOk = gen.end().end().end().nullTerminate().isOk() && gen.getDepth() == 0;
    return isOk ? see(gen.getData(), gen.getLength()) : "";
}

template <class Serializer>
std::string serialize(Serializer& out)
{
    out.reset();
    out.map().list("l").add(LONG.c_str()).add(2LL).end().map("m").add("k", false).add(LONG.c_str(), 5).end().end();
    out.nullTerminateData();
    return out.isOk() ? see(out.getData(), out.getDataLength()) : "";
}

struct Parsing
{
    json::JsonDeserializer deserializer;
    DataObjectHandler handler;
    json::JsonParser parser;
};

const Row ROWS[] = {
    {"DataObject: createInt iterator", make([] { return see(DataObject::createInt(5).get()); })},
    {"DataObject: createString", make([] { return see(DataObject::createString(LONG.c_str()).get()); })},
    {"IntegerDataObject: create clone convertToStdString serialize",
     make([] { return see(IntegerDataObject::create("77").get()); })},
    {"InvalidDataObject: clone", make([] { return std::string(InvalidDataObject().clone() == nullptr ? "" : "made"); }),
     true},
    {"DataObjectMap: iterator", make([] { return seeFirst("map"); })},
    {"DataObjectList: iterator", make([] { return seeFirst("list"); })},
    {"DataObjectHandler: arrayEnd arrayStart getTopOfStack handleDataObject objectStart onBoolean onInteger onNull "
     "onString pushCollection pushRoot; JsonDeserializer: parse",
     on<Parsing>([](Parsing& parsing) {
         ByteArrayInputStream input(DOCUMENT.c_str());
         return parsing.deserializer.parse(input, parsing.handler) == 0 ? see(parsing.handler.getRoot().get()) : "";
     })},
    {"JsonParser: parseUnbuffered", on<Parsing>([](Parsing& parsing) {
         ByteArrayInputStream input(DOCUMENT.c_str());
         return std::string(parsing.parser.parseUnbuffered(&input) == 0 ? "parsed" : "");
     })},
    {"JsonData: validate",
     make([] { return std::string(json::JsonData(DOCUMENT.c_str()).validate() == 0 ? "valid" : ""); })},
    {"JsonGen: add addWithFormat appendEscapedStringToBuffer appendIntegerToBuffer end nullTerminate startCollection; "
     "TextGenerator: growBuffer growForText",
     on(generate<json::JsonGen>)},
    {"XmlGen: add appendEscapedStringToBuffer appendIntegerToBuffer end nullTerminate startCollection",
     on(generate<xml::XmlGen>)},
    {"JsonSerializer: JsonSerializer; TextSerializer: TextSerializer add end list map nullTerminateData",
     on(serialize<json::JsonSerializer>)},
    {"XmlSerializer: XmlSerializer", on(serialize<xml::XmlSerializer>)},
    {"DynamicString: ensureFreeBytes findAndReplace setByteSize operator=", on<DynamicString>([](DynamicString& text) {
         const bool isDone = text.growAndAssign("ab") == 0 && text.findAndReplace("b", LONG.c_str()) == -1 &&
                             text.getByteLength() == 3001 && text.ensureFreeBytes(9000) == 0 &&
                             text.setByteSize(9500) == 0;
         const std::string result = isDone ? see(text.getData(), text.getByteLength()) : "";
         text = DynamicString("shorter", 7);
         return result;
     })},
    {"DynamicString: DynamicString; ReadableString: substring storeSubstring", make([] {
         const AutoPtr<DynamicString> text = DynamicString(LONG.c_str(), 3000).substring(1, 2500);
         return text == nullptr ? "" : see(text->getData(), text->getByteLength());
     })},
    {"FifoBuffer: FifoBuffer", make([] {
         unsigned char byte = 1;
         return std::string(FifoBuffer(16).writeAllTogether(&byte, 1) ? "written" : "");
     })},
    {"DynamicMemPool: DynamicMemPool",
     make([] { return std::string(DynamicMemPool(8, 10).allocate() == nullptr ? "" : "taken"); })},
    {"MimeInputStream: MimeInputStream", make([] {
         const SharedPtr<InputStream> source(new (std::nothrow) ByteArrayInputStream("Man"));
         unsigned char text[5] = {};
         return MimeInputStream(source, 78).read(text, 4) == 4 ? std::string(text, text + 4) : "";
     })},
    {"BufferedOutputStream: BufferedOutputStream",
     make([] { return std::to_string(BufferedOutputStream(nullptr, 8).flush()); }), true},
    {"property_map_create property_map_create_by_map_buffer property_map_attach_const", make([] {
         property_map_free(property_map_create(mapBuffer, sizeof(mapBuffer)));
         property_map_free(property_map_create_by_map_buffer(mapBuffer));
         const property_map* const reader = property_map_attach_const(mapBuffer);
         const bool isDone = reader != nullptr && property_map_get_size(reader) == sizeof(mapBuffer);
         property_map_detach_const(reader);
         return std::string(isDone ? "attached" : "");
     }),
     true},
    {"DynamicPropertyMap: DynamicPropertyMap", make([] {
         const DynamicPropertyMap map(mapBuffer, sizeof(mapBuffer)), copy(map);
         return std::to_string(DynamicPropertyMap(static_cast<const PropertyMap&>(copy)).getSize());
     }),
     true},
};

/// What has a sweep of its own, or cannot go on: some operations stop the process, others make do without.
[[maybe_unused]] const char* const ELSEWHERE[] = {
    "CObservable: CObservable; PiloObservableImpl: PiloObservableImpl; StaticModel: create",
    "createObservable",
    "createObserver",
    "createObserverWithUserData", // ObservableFaultTest
    "StaticModel: addObserver addEventAndObserver; Observable: addObserver; PiloObservableImpl: addObserver",
    "addObserver",                                                          // ObserverWordTest
    "DataObject: append set parse vparse; DataObjectList: append clone",    // DataObjectTest, DataObjectFormatTest
    "DataObjectMap: clone set unset; StringDataObject: clone serialize",    // DataObjectTest
    "NullDataObject: clone serialize; DataObjectBuilder: add end list map", // the same, DataObjectBuilderTest
    "DataObjectSaxHandler: charData endElement reset startElement",         // DataObjectSaxHandlerTest
    "SAXParser: SAXParser endDocument parse",                               // SAXParserTest
    "DynamicString: growAndAppend growAndAssign",                           // StringTest
    "WritableString: appendFormat insertFormat insertv; JsonParser: parse", // StringTest, JsonParserTest
    "JsonDeserializer: JsonDeserializer; ErrorServer: ErrorServer",         // their tests
    "PropertyMap: isWellFormed",
    "property_map_is_well_formed", // PropertyMapCheckTest
    "ReadableString: substr",      // stops
};

} // namespace

using AllocationSweepTest = ReportTest;

TEST_F(AllocationSweepTest, RefusedMemoryIsToldAndTheSameObjectWorksWithMemoryBack)
{
    for (const Row& row : ROWS) {
        SCOPED_TRACE(row.operations);
        const std::string expected = row.start()();
        EXPECT_NE(expected, "");
        expectNoReports();
        sweepAllocationFailures([&](AllocationFaults& faults) {
            const Operation operation = row.start();
            std::string result;
            try {
                result = faults.during(operation);
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(row.throws);
            }
            const bool isDone = takeReports().empty() && !result.empty();
            EXPECT_TRUE(!isDone || result == expected) << "lost without a word: " << result;
            EXPECT_EQ(faults.again(operation), expected);
            expectNoReports();
            return isDone;
        });
    }
}
