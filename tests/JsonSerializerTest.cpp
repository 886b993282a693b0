#include "json/JsonSerializer.h"

#include <climits>
#include <functional>
#include <tuple>

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
    const std::tuple<const char*, Calls, const char*> CASES[] = {
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
        {"a null text leaves the key", [](StructBuilder& b) { b.map().add("k", SILENT).add(NO_TEXT).add(1).end(); },
         "{\"k\":1}"},
        {"map(key) and end leave the key",
         [](StructBuilder& b) { b.map().map("m").add("k", SILENT).map("n").end().end().add("v").end(); },
         "{\"m\":{\"n\":{}},\"k\":\"v\"}"},
        {"a null key is none",
         [](StructBuilder& b) { b.list().add(NO_TEXT, Described([](StructBuilder& c) { c.add(1); })).end(); }, "[1]"},
    };
    for (const auto& [name, calls, text] : CASES) {
        SCOPED_TRACE(name);
        serializer.reset();
        calls(builder);
        EXPECT_EQ(textOf(serializer), text);
        EXPECT_TRUE(serializer.isOk());
        EXPECT_EQ(serializer.getErrorString(), nullptr);
    }
}

TEST_F(JsonSerializerTest, KeyedCallsAreRefusedWhileAKeyIsPending)
{
    const std::tuple<int, const char*, Calls> CASES[] = {
        {81, "list with key ... bad", [](StructBuilder& b) { b.list("bad"); }},
        {115, "serializable with key", [](StructBuilder& b) { b.add("bad", SILENT); }},
        {141, "integer with key", [](StructBuilder& b) { b.add("bad", 1); }},
        {141, "integer with key", [](StructBuilder& b) { b.add("bad", 1LL); }},
        {174, "double with key", [](StructBuilder& b) { b.add("bad", 1.0); }},
        {188, "double with key", [](StructBuilder& b) { b.add("bad", 1.0, 1); }},
        {230, "string with key", [](StructBuilder& b) { b.add("bad", NO_TEXT); }},
        {261, "bool with key", [](StructBuilder& b) { b.add("bad", true); }},
        {289, "null with key", [](StructBuilder& b) { b.add("bad", StructBuilder::NullType()); }},
    };
    builder.map().add("k", SILENT);
    for (const auto& [line, misuse, call] : CASES) {
        const std::string text = std::string("Unexpected ") + misuse;
        call(builder);
        expectReport(Ostrel::Severity::RECOVERABLE, "JsonSerializer", line, ("'" + text + "'").c_str());
        EXPECT_EQ(serializer.getErrorString(), text.substr(0, text.find(" ..."))) << "the last misuse counts";
    }
    builder.add("new", Described([](StructBuilder& b) { b.add("value"); })).end();
    EXPECT_EQ(takeReports().at(0).message, "json/JsonSerializer.cpp:115 - 'Unexpected serializable with key'");
    EXPECT_EQ(textOf(serializer), "{\"k\":\"value\"}") << "the older key stayed, nothing else was written";
    EXPECT_FALSE(serializer.isOk());
}

TEST_F(JsonSerializerTest, ResetForgetsTheTextButNeitherMisuseNorKey)
{
    EXPECT_EQ(serializer.getData(), nullptr);
    builder.map().add(1);
    EXPECT_FALSE(serializer.isOk());
    EXPECT_STREQ(serializer.getErrorString(), "Expected key/value") << "the generator's, without misuse";
    serializer.reset();
    EXPECT_TRUE(serializer.isOk());
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

TEST_F(JsonSerializerTest, WithoutMemoryForItsGeneratorItIgnoresEverything)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        faults.arm();
        const Ostrel::AutoPtr<Serializer> created = JsonSerializer::create();
        faults.disarm();
        if (created == nullptr)
            return false;
        if (created->isOk()) {
            created->list().end();
            EXPECT_EQ(textOf(*created), "[]");
            return true;
        }
        StructBuilder& calls = *created;
        calls.map().map("m").list().list("l").end().add("k", SILENT).add(SILENT).add("k", 1).add(1).add("x").add(true);
        static_cast<JsonSerializer&>(*created).nullTerminateData();
        created->reset();
        EXPECT_STREQ(created->getErrorString(), "Out of memory");
        EXPECT_EQ(created->getData(), nullptr);
        EXPECT_EQ(created->getDataLength(), 0u);
        return false;
    });
}
