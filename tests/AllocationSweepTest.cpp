#include <array>

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

template <class Object>
std::function<Operation()> on(std::string (*act)(Object&))
{
    return [act] { return [act, object = std::make_shared<Object>()] { return act(*object); }; };
}

std::string see(bool isDone, const char* data = "done", size_t length = 4)
{
    const AllocationFaults::Pause pause;
    return isDone ? std::string(data, length) : "";
}

const std::string LONG(3000, 'x');
const std::string DOCUMENT = "{\"l\":[1,null,[\"" + LONG + "\"],true],\"" + LONG + "\":{\"a\":\"b\"},\"k\":-7}";

template <class Gen>
std::string generate(Gen& gen)
{
    gen.reset().object(nullptr).object("o").add("k", LONG.c_str()).add("n", 12345).array(LONG.c_str()).add(1);
    const bool isOk = gen.end().end().end().nullTerminate().isOk() && gen.getDepth() == 0;
    return see(isOk, gen.getData(), gen.getLength());
}

template <class Serializer>
std::string serialize(Serializer& out)
{
    out.reset();
    out.map().list("l").add(LONG.c_str()).add(2LL).end().map("m").add("k", false).add(LONG.c_str(), 5).end().end();
    out.nullTerminateData();
    return see(out.isOk(), out.getData(), out.getDataLength());
}

struct Parsing
{
    json::JsonDeserializer deserializer;
    DataObjectHandler handler;
    json::JsonParser parser;
};

std::string parse(Parsing& on)
{
    ByteArrayInputStream tree(DOCUMENT.c_str()), events(DOCUMENT.c_str());
    const bool isDone = on.deserializer.parse(tree, on.handler) == 0 && on.parser.parseUnbuffered(&events) == 0 &&
                        json::JsonData(DOCUMENT.c_str()).validate() == 0;
    const AllocationFaults::Pause pause;
    return isDone ? describe(on.handler.getRoot().get()) : "";
}

std::string change(DynamicString& text)
{
    text = DynamicString("ab", 2);
    const bool isDone = text.findAndReplace("b", LONG.c_str()) == -1 && text.getByteLength() == 3001 &&
                        text.ensureFreeBytes(9000) == 0 && text.setByteSize(19500) == 0;
    return see(isDone, text.getData(), text.getByteLength());
}

std::string makeTrees(AutoPtr<DataObject>& tree)
{
    if (tree == nullptr)
        tree = DataObject::createInt(1);
    const bool areMade = DataObject::createString(LONG.c_str()) != nullptr && tree != nullptr &&
                         IntegerDataObject::create("77") != nullptr && DataObjectMap().iterator() != nullptr &&
                         DataObjectList().iterator() != nullptr && tree->iterator() != nullptr;
    return see(areMade);
}

std::string makeOthers(unsigned char& byte)
{
    const SharedPtr<InputStream> source(new (std::nothrow) ByteArrayInputStream("Man"));
    const AutoPtr<DynamicString> text = DynamicString(LONG.c_str(), 3000).substring(1, 2500);
    const property_map* const reader = property_map_attach_const(&byte);
    property_map_detach_const(reader);
    return see(reader != nullptr && text != nullptr && text->getByteLength() == 2500 &&
               FifoBuffer(16).writeAllTogether(&byte, 1) && DynamicMemPool(8, 10).allocate() != nullptr &&
               MimeInputStream(source, 78).read(&byte, 1) == 1);
}

std::string makeOrThrow(std::array<unsigned char, 64>& bytes)
{
    property_map_free(property_map_create(bytes.data(), bytes.size()));
    property_map_free(property_map_create_by_map_buffer(bytes.data()));
    const DynamicPropertyMap map(bytes.data(), bytes.size()), copy(map);
    const DynamicPropertyMap other(static_cast<const PropertyMap&>(copy));
    return see(BufferedOutputStream(nullptr, 8).flush() == 0 && InvalidDataObject().clone() != nullptr);
}

struct Row
{
    const char* operations; ///< "Class: operation operation", which check_allocations.py reads.
    std::function<Operation()> start;
    bool throws = false; ///< As the headers say.
};

const Row ROWS[] = {
    {"DataObject: createInt createString iterator; DataObjectMap: iterator; DataObjectList: iterator; "
     "IntegerDataObject: create clone convertToStdString serialize",
     on(makeTrees)},
    {"DataObjectHandler: arrayEnd arrayStart getTopOfStack handleDataObject objectStart onBoolean onInteger onNull "
     "onString pushCollection pushRoot; JsonDeserializer: parse; JsonParser: parseUnbuffered; JsonData: validate",
     on(parse)},
    {"JsonGen: add addWithFormat appendEscapedStringToBuffer appendIntegerToBuffer end nullTerminate startCollection; "
     "TextGenerator: growBuffer growForText",
     on(generate<json::JsonGen>)},
    {"XmlGen: add appendEscapedStringToBuffer appendIntegerToBuffer end nullTerminate startCollection",
     on(generate<xml::XmlGen>)},
    {"JsonSerializer: JsonSerializer; TextSerializer: TextSerializer add end list map nullTerminateData",
     on(serialize<json::JsonSerializer>)},
    {"XmlSerializer: XmlSerializer", on(serialize<xml::XmlSerializer>)},
    {"DynamicString: ensureFreeBytes findAndReplace setByteSize operator=", on(change)},
    {"DynamicString: DynamicString; ReadableString: substring storeSubstring; property_map_attach_const "
     "FifoBuffer: FifoBuffer; DynamicMemPool: DynamicMemPool; MimeInputStream: MimeInputStream",
     on(makeOthers)},
    {"property_map_create property_map_create_by_map_buffer DynamicPropertyMap: DynamicPropertyMap; "
     "BufferedOutputStream: BufferedOutputStream; InvalidDataObject: clone",
     on(makeOrThrow), true},
};

// What has a sweep of its own, or cannot go on (`substr` stops the process, the checks make do without):
// CObservable: CObservable; PiloObservableImpl: PiloObservableImpl addObserver; Observable: addObserver;
// StaticModel: create addObserver addEventAndObserver; createObservable, createObserver, createObserverWithUserData;
// DataObject: append set parse vparse; DataObjectList: append clone; DataObjectMap: clone set unset;
// StringDataObject: clone serialize; NullDataObject: clone serialize; DataObjectBuilder: add end list map;
// DataObjectSaxHandler: charData endElement reset startElement; SAXParser: SAXParser endDocument parse;
// DynamicString: growAndAppend growAndAssign; WritableString: appendFormat insertFormat insertv;
// JsonParser: parse; JsonDeserializer: JsonDeserializer; ErrorServer: ErrorServer; ReadableString: substr;
// PropertyMap: isWellFormed; property_map_is_well_formed

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
