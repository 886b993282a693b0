#include "json/JsonSerializer.h"

#include <climits>
#include <functional>

#include "tests/support/AllocationFaults.h"
#include "tests/support/RecordingPolicy.h"

using json::JsonSerializer;
using Ostrel::Serializer;
using Ostrel::StructBuilder;

namespace {

using Calls = std::function<void(StructBuilder&)>;

/// Describes itself by the calls it was given.
class Described : public Ostrel::Serializable
{
public:
    explicit Described(Calls calls) : _calls(std::move(calls)) {}
    const char* getTypeName() const override { return "Described"; }
    void serialize(Ostrel::WeakPtr<StructBuilder> builder) const override { _calls(*builder); }

private:
    Calls _calls;
};

const Described SILENT([](StructBuilder&) {});
const char* const NO_TEXT = nullptr;

std::string textOf(const Serializer& serializer)
{
    return std::string(serializer.getData() == nullptr ? "" : serializer.getData(), serializer.getDataLength());
}

} // namespace

class JsonSerializerTest : public ReportTest
{
protected:
    JsonSerializer serializer;
    StructBuilder& builder = serializer;
};

TEST_F(JsonSerializerTest, CallsBecomeTextAndTakeThePendingKey)
{
    struct Case
    {
        const char* name;
        Calls calls;
        const char* text;
    };
    const Case CASES[] = {
        {"keyed",
         [](StructBuilder& b) {
             b.map().add("i", -1).add("l", LLONG_MAX).add("d", 1.0).add("e", 1.25, 1).add("s", "x").add("b", true);
             b.add("n", StructBuilder::NullType()).add("0", NO_TEXT).map("m").end().list("a").end().end();
         },
         "{\"i\":-1,\"l\":9223372036854775807,\"d\":1.000000,\"e\":1.2,\"s\":\"x\",\"b\":true,\"n\":null,"
         "\"0\":\"(null)\",\"m\":{},\"a\":[]}"},
        {"keyless",
         [](StructBuilder& b) {
             b.list().add(-1).add(4294967297LL).add(1.0).add(1.25, 1).add("x").add(NO_TEXT).add(false);
             b.add(StructBuilder::NullType()).map().end().list().end().add(SILENT).end();
         },
         "[-1,4294967297,1.000000,1.2,\"x\",false,null,{},[]]"},
        {"pending",
         [](StructBuilder& b) {
             b.map().add("i", SILENT).add(1).add("l", SILENT).add(2LL).add("d", SILENT).add(1.0);
             b.add("e", SILENT).add(0.5, 1).add("s", SILENT).add("x").add("b", SILENT).add(true);
             b.add("n", SILENT).add(StructBuilder::NullType()).add("m", SILENT).map().end();
             b.add("a", SILENT).list().end().end();
         },
         "{\"i\":1,\"l\":2,\"d\":1.000000,\"e\":0.5,\"s\":\"x\",\"b\":true,\"n\":null,\"m\":{},\"a\":[]}"},
        {"nested",
         [](StructBuilder& b) {
             const Described inner([](StructBuilder& c) { c.map().add("x", 1).end(); });
             b.map().add("inner", inner).end();
         },
         "{\"inner\":{\"x\":1}}"},
        {"a null text leaves the key", [](StructBuilder& b) { b.map().add("k", SILENT).add(NO_TEXT).add(1).end(); },
         "{\"k\":1}"},
        {"map(key) and end leave the key",
         [](StructBuilder& b) { b.map().map("m").add("k", SILENT).map("n").end().end().add("v").end(); },
         "{\"m\":{\"n\":{}},\"k\":\"v\"}"},
        {"a null key is none",
         [](StructBuilder& b) { b.list().add(NO_TEXT, Described([](StructBuilder& c) { c.add(1); })).end(); }, "[1]"},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.name);
        serializer.reset();
        c.calls(builder);
        EXPECT_EQ(textOf(serializer), c.text);
        EXPECT_TRUE(serializer.isOk());
        EXPECT_EQ(serializer.getErrorString(), nullptr);
    }
}

TEST_F(JsonSerializerTest, KeyedCallsAreRefusedWhileAKeyIsPending)
{
    struct Case
    {
        Calls call;
        int line;
        const char* report;
        const char* error;
    };
    const Case CASES[] = {
        {[](StructBuilder& b) { b.list("bad"); }, 81, "'Unexpected list with key ... bad'", "Unexpected list with key"},
        {[](StructBuilder& b) { b.add("bad", SILENT); }, 115, "'Unexpected serializable with key'", nullptr},
        {[](StructBuilder& b) { b.add("bad", 1); }, 141, "'Unexpected integer with key'", nullptr},
        {[](StructBuilder& b) { b.add("bad", 1LL); }, 141, "'Unexpected integer with key'", nullptr},
        {[](StructBuilder& b) { b.add("bad", 1.0); }, 174, "'Unexpected double with key'", nullptr},
        {[](StructBuilder& b) { b.add("bad", 1.0, 1); }, 188, "'Unexpected double with key'", nullptr},
        {[](StructBuilder& b) { b.add("bad", "x"); }, 230, "'Unexpected string with key'", nullptr},
        {[](StructBuilder& b) { b.add("bad", true); }, 261, "'Unexpected bool with key'", nullptr},
        {[](StructBuilder& b) { b.add("bad", StructBuilder::NullType()); }, 289, "'Unexpected null with key'", nullptr},
    };
    builder.map().add("k", SILENT);
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.report);
        c.call(builder);
        expectReport(Ostrel::Severity::RECOVERABLE, "JsonSerializer", c.line, c.report);
        const std::string error = std::string(c.report + 1, strlen(c.report) - 2);
        EXPECT_EQ(serializer.getErrorString(), c.error == nullptr ? error : c.error) << "the last misuse counts";
    }
    builder.add(1).end();
    EXPECT_EQ(textOf(serializer), "{\"k\":1}") << "the key stayed, nothing else was written";
    EXPECT_FALSE(serializer.isOk());
}

TEST_F(JsonSerializerTest, RefusedSerializableTakesTheOlderKey)
{
    builder.map().add("old", SILENT).add("new", Described([](StructBuilder& b) { b.add("value"); })).end();
    const Report report = takeReports().at(0);
    EXPECT_EQ(report.message, "json/JsonSerializer.cpp:115 - 'Unexpected serializable with key'");
    EXPECT_EQ(textOf(serializer), "{\"old\":\"value\"}");
}

TEST_F(JsonSerializerTest, ResetForgetsTheTextButNeitherMisuseNorKey)
{
    builder.map().add("k", SILENT).add("x", 1);
    takeReports();
    serializer.reset();
    EXPECT_EQ(serializer.getDataLength(), 0u);
    builder.map(); // the key from before makes this a keyed map, which no document begins with
    EXPECT_EQ(textOf(serializer), "");
    serializer.reset();
    builder.map().add("x", 1).end();
    serializer.nullTerminateData();
    EXPECT_STREQ(serializer.getData(), "{\"x\":1}");
    EXPECT_FALSE(serializer.isOk());
    EXPECT_STREQ(serializer.getErrorString(), "Unexpected integer with key");
}

TEST_F(JsonSerializerTest, GeneratorStatusIsTheErrorWithoutMisuse)
{
    EXPECT_EQ(serializer.getData(), nullptr);
    builder.map().add(1);
    EXPECT_FALSE(serializer.isOk());
    EXPECT_STREQ(serializer.getErrorString(), "Expected key/value");
    serializer.reset();
    EXPECT_TRUE(serializer.isOk());
}

TEST_F(JsonSerializerTest, WithoutMemoryForItsGeneratorItIgnoresEverything)
{
    AllocationFaults faults(AllocationFaults::FAIL_ONE, 0);
    faults.arm();
    JsonSerializer poor;
    faults.disarm();
    StructBuilder& calls = poor;
    calls.map().map("m").list().list("l").end().add("k", SILENT).add(SILENT).add("k", 1).add(1).add("k", 1.0);
    calls.add("k", 1.0, 1).add(1.0).add(1.0, 1).add("k", "x").add("x").add("k", true).add(true);
    calls.add("k", StructBuilder::NullType()).add(StructBuilder::NullType());
    poor.nullTerminateData();
    poor.reset();
    EXPECT_FALSE(poor.isOk());
    EXPECT_STREQ(poor.getErrorString(), "Out of memory");
    EXPECT_EQ(poor.getData(), nullptr);
    EXPECT_EQ(poor.getDataLength(), 0u);
}

TEST_F(JsonSerializerTest, IsCreatedAsSerializerOrNotAtAll)
{
    const Ostrel::AutoPtr<Serializer> created = JsonSerializer::create();
    ASSERT_NE(created, nullptr);
    created->list().end();
    EXPECT_EQ(textOf(*created), "[]");

    AllocationFaults faults(AllocationFaults::FAIL_ALL_LATER, 0);
    faults.arm();
    const Ostrel::AutoPtr<Serializer> none = JsonSerializer::create();
    faults.disarm();
    EXPECT_EQ(none, nullptr);
}
