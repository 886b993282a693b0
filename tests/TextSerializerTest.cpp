// Both serializers: the same calls, each with its own text and lines.

#include "json/JsonSerializer.h"
#include "tests/support/LogBuilder.h"
#include "tests/support/ReportTest.h"
#include "xml/XmlSerializer.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family
using json::JsonSerializer;
using xml::XmlSerializer;

namespace {

using Calls = Described::Calls;

const Described SILENT([](StructBuilder&) {});
const char* const NO_TEXT = nullptr;

/// Without the XML declaration, and with '$' for NUL bytes.
std::string textOf(const Serializer& serializer)
{
    std::string text(serializer.getData() == nullptr ? "" : serializer.getData(), serializer.getDataLength());
    if (text.compare(0, 5, "<?xml") == 0)
        text.erase(0, 38);
    std::replace(text.begin(), text.end(), '\0', '$');
    return text;
}

/// What is asked of each serializer.
template <class Value>
struct Each
{
    Value json;
    Value xml;

    Value of(const JsonSerializer&) const { return json; }
    Value of(const XmlSerializer&) const { return xml; }
};

using Expected = Each<const char*>;

} // namespace

template <class T>
class TextSerializerTest : public ReportTest
{
protected:
    T serializer;
    StructBuilder& builder = serializer;
};

using SerializerTypes = testing::Types<JsonSerializer, XmlSerializer>;
TYPED_TEST_SUITE(TextSerializerTest, SerializerTypes);

TYPED_TEST(TextSerializerTest, CallsBecomeTextAndTakeThePendingKey)
{
    const std::pair<Calls, Expected> CASES[] = {
        // keyed
        {[](StructBuilder& b) {
             b.map().add("i", -1).add("l", LLONG_MAX - 1).add("d", 1.0).add("e", 1.25, 1).add("s", "x").add("b", true);
             b.add("n", StructBuilder::NullType()).add("0", NO_TEXT).map("m").end().list("a").end().end();
         },
         {"{\"i\":-1,\"l\":9223372036854775806,\"d\":1.000000,\"e\":1.2,\"s\":\"x\",\"b\":true,\"n\":null,"
          "\"0\":\"(null)\",\"m\":{},\"a\":[]}",
          "<i>-1</i><l>-2</l><s>x</s><b>true</b><n>Null</n><0>(null)</0><m></m>$"}},
        // keyless
        {[](StructBuilder& b) {
             b.list().add(-1).add(4294967297LL).add(1.0).add(1.25, 1).add("x").add(NO_TEXT).add(false);
             b.add(StructBuilder::NullType()).map().end().list().end().add(SILENT).end();
         },
         {"[-1,4294967297,1.000000,1.2,\"x\",false,null,{},[]]",
          "<a>-1</a><a>1</a><a>x</a><a>false</a><a>Null</a>$$$"}}, // the name is left from the case before
        // pending
        {[](StructBuilder& b) {
             b.map().add("i", SILENT).add(1).add("l", SILENT).add(2LL).add("d", SILENT).add(1.0);
             b.add("e", SILENT).add(0.5, 1).add("s", SILENT).add("x").add("b", SILENT).add(true);
             b.add("n", SILENT).add(StructBuilder::NullType()).add("m", SILENT).map().end();
             b.add("a", SILENT).list().end().end();
         },
         {"{\"i\":1,\"l\":2,\"d\":1.000000,\"e\":0.5,\"s\":\"x\",\"b\":true,\"n\":null,\"m\":{},\"a\":[]}",
          "<i>1</i><l>2</l><s>x</s><b>true</b><n>Null</n><m></m>$"}},
        // a null text leaves the key
        {[](StructBuilder& b) { b.map().add("k", SILENT).add(NO_TEXT).add(1).end(); }, {"{\"k\":1}", "<k>1</k>$"}},
        // map(key) and end leave the key
        {[](StructBuilder& b) { b.map().map("m").add("k", SILENT).map("n").end().end().add("v").end(); },
         {"{\"m\":{\"n\":{}},\"k\":\"v\"}", "<m><n></n></m><k>v</k>$"}},
        // a null key is none
        {[](StructBuilder& b) { b.list().add(NO_TEXT, Described([](StructBuilder& c) { c.add(1); })).end(); },
         {"[1]", "<m>1</m>$"}},
    };
    for (const auto& [calls, expected] : CASES) {
        this->serializer.reset();
        calls(this->builder);
        EXPECT_EQ(textOf(this->serializer), expected.of(this->serializer));
        EXPECT_TRUE(this->serializer.isOk());
        EXPECT_EQ(this->serializer.getErrorString(), nullptr);
    }
}

TYPED_TEST(TextSerializerTest, KeyedCallsAreRefusedWhileAKeyIsPending)
{
    const std::tuple<Each<int>, const char*, Calls> CASES[] = {
        {{81, 79}, "list with key ... bad", [](StructBuilder& b) { b.list("bad"); }},
        {{115, 113}, "serializable with key", [](StructBuilder& b) { b.add("bad", SILENT); }},
        {{141, 134}, "integer with key", [](StructBuilder& b) { b.add("bad", 1); }},
        {{141, 134}, "integer with key", [](StructBuilder& b) { b.add("bad", 1LL); }},
        {{174, 162}, "double with key", [](StructBuilder& b) { b.add("bad", 1.0); }},
        {{188, 176}, "double with key", [](StructBuilder& b) { b.add("bad", 1.0, 1); }},
        {{230, 218}, "string with key", [](StructBuilder& b) { b.add("bad", NO_TEXT); }},
        {{261, 249}, "bool with key", [](StructBuilder& b) { b.add("bad", true); }},
        {{289, 277}, "null with key", [](StructBuilder& b) { b.add("bad", StructBuilder::NullType()); }},
    };
    const Expected source = {"json/JsonSerializer.cpp", "xml/XmlSerializer.cpp"};
    this->builder.map().add("k", SILENT);
    for (const auto& [line, misuse, call] : CASES) {
        const std::string text = std::string("Unexpected ") + misuse;
        call(this->builder);
        const std::vector<Report> reports = this->takeReports();
        ASSERT_EQ(reports.size(), 1u);
        EXPECT_EQ(reports[0].severity, Ostrel::Severity::RECOVERABLE);
        EXPECT_EQ(reports[0].message, source.of(this->serializer) + (":" + std::to_string(line.of(this->serializer))) +
                                          " - '" + text + "'");
        EXPECT_EQ(this->serializer.getErrorString(), text.substr(0, text.find(" ..."))) << "the last misuse counts";
    }
    this->builder.add("new", Described([](StructBuilder& b) { b.add("value"); })).end();
    EXPECT_EQ(this->takeReports().size(), 1u);
    const Expected expected = {"{\"k\":\"value\"}", "<k>value</k>$"};
    EXPECT_EQ(textOf(this->serializer), expected.of(this->serializer)) << "the older key, and nothing else";
    EXPECT_FALSE(this->serializer.isOk());
}

TYPED_TEST(TextSerializerTest, ValuesNestAThousandLevelsDeep)
{
    int depth = 0;
    const Described keyed([&](StructBuilder& b) { ++depth % 2 == 0 ? b.add(keyed) : b.add("k", keyed); });
    keyed.serialize(this->serializer);
    EXPECT_EQ(depth, 1001) << "the outermost one, and 1,000 in it";
    const Report report = this->takeReports().back();
    const Each<int> line = {302, 290};
    EXPECT_EQ(report.line, line.of(this->serializer));
    EXPECT_EQ(report.text, "'Serializable nested too deep'");
    EXPECT_STREQ(this->serializer.getErrorString(), "Serializable nested too deep");
}

TYPED_TEST(TextSerializerTest, ResetForgetsTheTextButNeitherMisuseNorKey)
{
    TypeParam& subject = this->serializer;
    StructBuilder& calls = subject;
    EXPECT_EQ(subject.getData(), nullptr);
    calls.map().add(1);
    EXPECT_FALSE(subject.isOk());
    EXPECT_STREQ(subject.getErrorString(), "Expected key/value") << "the generator's, without misuse";
    subject.reset();
    EXPECT_TRUE(subject.isOk());
    calls.map().add("k", SILENT).add("x", 1);
    this->takeReports();
    subject.reset();
    EXPECT_EQ(subject.getDataLength(), 0u);
    calls.map(); // the key from before makes this a keyed map, which no document begins with
    EXPECT_EQ(textOf(subject), "");
    subject.reset();
    calls.map().add("x", 1).end();
    EXPECT_FALSE(subject.isOk());
    EXPECT_STREQ(subject.getErrorString(), "Unexpected integer with key");
    const unsigned int length = subject.getDataLength();
    subject.nullTerminateData();
    EXPECT_EQ(subject.getDataLength(), length);
    EXPECT_EQ(subject.getData()[length], '\0');
}

TYPED_TEST(TextSerializerTest, WithoutMemoryForItsGeneratorItIgnoresEverything)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        const Ostrel::AutoPtr<Serializer> created = faults.during(TypeParam::create);
        EXPECT_TRUE(faults.again(TypeParam::create)->isOk());
        if (created == nullptr)
            return false;
        StructBuilder& calls = *created;
        if (created->isOk()) {
            calls.map().add("k", 1).end();
            const Expected expected = {"{\"k\":1}", "<k>1</k>$"};
            EXPECT_EQ(textOf(*created), expected.of(static_cast<TypeParam&>(*created)));
            return true;
        }
        calls.map().map("m").list().list("l").end().add("k", SILENT).add(SILENT).add("k", 1).add(1).add("x").add(true);
        static_cast<TypeParam&>(*created).nullTerminateData();
        created->reset();
        EXPECT_STREQ(created->getErrorString(), "Out of memory");
        EXPECT_TRUE(created->getData() == nullptr && created->getDataLength() == 0);
        return false;
    });
}
