#include "json/JsonDeserializer.h"

#include "json/JsonParser.h"
#include "ostrel/ByteArrayInputStream.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

namespace {

using Source = WeakPtr<Deserializer>;

/// Writes what it gets into a log that several share, behind its own name. Hands the collections under some keys out.
class NamedHandler : public Deserializer::Handler
{
public:
    using Handler::onInteger;

    NamedHandler(std::string name, std::string& log) : _name(std::move(name)), _log(log) {}

    void reset() override { add(nullptr, "reset"); }
    void onInteger(Source source, const char* key, long long v) override { add(key, std::to_string(v), source); }
    void onDouble(Source, const char* key, double value) override { add(key, std::to_string(value)); }
    void onString(Source source, const char* key, const char* value) override { add(key, value, source); }
    void onBoolean(Source, const char* key, bool value) override { add(key, value ? "true" : "false"); }
    void onNull(Source, const char* key) override { add(key, "null"); }
    Handler* arrayStart(Source source, const char* key) override { return add(key, "[", source); }
    void arrayEnd(Source) override { add(nullptr, "]"); }
    Handler* objectStart(Source source, const char* key) override { return add(key, "{", source); }
    void objectEnd(Source) override { add(nullptr, "}"); }

    std::map<std::string, Handler*> handOut; ///< By key; "" for a collection without one.
    std::function<void(Source)> onEvent;     ///< Called once.

private:
    /// Makes the call first, if one is left: keys and values have to outlive a parse in between. Gives the handler for
    /// the key.
    Handler* add(const char* key, const std::string& event, Source source = nullptr)
    {
        if (source.get() != nullptr && onEvent)
            std::exchange(onEvent, nullptr)(source);
        _log += (_log.empty() ? "" : " ") + _name + (key == nullptr ? ":" : std::string(":") + key + "=") + event;
        const auto found = handOut.find(key == nullptr ? "" : key);
        return found == handOut.end() ? nullptr : found->second;
    }

    std::string _name;
    std::string& _log;
};

} // namespace

class JsonDeserializerTest : public ReportTest
{
protected:
    int parse(const std::string& document, WeakPtr<Deserializer::Handler> handler)
    {
        log.clear();
        ByteArrayInputStream stream(document.c_str());
        return deserializer.parse(stream, handler);
    }

    std::string log;
    NamedHandler outer{"o", log};
    NamedHandler inner{"i", log};
    NamedHandler third{"t", log};
    json::JsonDeserializer deserializer;
};

TEST_F(JsonDeserializerTest, EventsReachTheHandlerOfTheirCollection)
{
    outer.handOut = {{"a", &inner}, {"self", &outer}};
    inner.handOut = {{"k", &third}};
    static const std::pair<const char*, const char*> CASES[] = {
        {"[1,2.5,\"x\",false,null]", "o:reset o:[ o:1 o:2.500000 o:x o:false o:null o:]"},
        {"{\"a\":{\"x\":1},\"b\":2}", "o:reset o:{ o:a={ i:x=1 o:} o:b=2 o:}"},
        {"{\"a\":[[1],{}],\"b\":[2]}", "o:reset o:{ o:a=[ i:[ i:1 i:] i:{ i:} o:] o:b=[ o:2 o:] o:}"},
        {"{\"a\":{\"k\":[7],\"l\":8},\"b\":9}", "o:reset o:{ o:a={ i:k=[ t:7 i:] i:l=8 o:} o:b=9 o:}"},
        {"{\"self\":[1],\"b\":2}", "o:reset o:{ o:self=[ o:1 o:] o:b=2 o:}"},
        {"{\"a\":{},\"a\":[3]}", "o:reset o:{ o:a={ o:} o:a=[ i:3 o:] o:}"},
        {"4294967297", "o:reset o:4294967297"}};
    for (const auto& [document, expected] : CASES) {
        EXPECT_EQ(parse(document, outer), 0);
        EXPECT_EQ(log, expected) << document;
        EXPECT_EQ(deserializer.getErrorString(), nullptr);
    }
    outer.handOut = {{"", &inner}};
    inner.handOut = {};
    EXPECT_EQ(parse("{\"x\":[1]}", outer), 0);
    EXPECT_EQ(log, "o:reset o:{ i:x=[ i:1 i:] o:}") << "the root is handed over";
}

TEST_F(JsonDeserializerTest, TheStackHoldsEightHandlers)
{
    outer.handOut = third.handOut = {{"", &inner}};
    inner.handOut = {{"", &third}};
    EXPECT_EQ(parse("[[[[[[[[1],2]]]]]],3]", outer), 0);
    EXPECT_EQ(log, "o:reset o:[ i:[ t:[ i:[ t:[ i:[ t:[ i:[ i:1 i:] i:2 t:] i:] t:] i:] t:] i:] i:3 o:]");
    expectFailedCheck(Severity::FATAL, "JsonDeserializer", 0, "_stackDepth < MAX_HANDLER_STACK_DEPTH");
    expectNoReports();

    // A nested parse takes an entry as well: seven find room beside the outermost.
    int depth = 0;
    const std::function<void(Source)> parseAgain = [&](Source source) {
        outer.onEvent = parseAgain;
        const int expected = ++depth < 8 ? 0 : -1;
        ByteArrayInputStream stream("1");
        EXPECT_EQ(source->parse(stream, outer), expected);
        EXPECT_STREQ(source->getErrorString(), expected == 0 ? nullptr : "Too many handlers");
        EXPECT_EQ(deserializer.getError().reason,
                  expected == 0 ? json::JsonError::NONE : json::JsonError::TOO_MANY_HANDLERS);
    };
    outer.onEvent = parseAgain;
    EXPECT_EQ(parse("1", outer), 0);
    EXPECT_EQ(depth, 8);
    EXPECT_EQ(deserializer.getErrorString(), nullptr) << "the outermost one ended last";
    expectFailedCheck(Severity::FATAL, "JsonDeserializer", 0, "_stackDepth < MAX_HANDLER_STACK_DEPTH");
}

TEST_F(JsonDeserializerTest, AParseThatIsLeftEarlyLeavesNothingBehind)
{
    outer.handOut = {{"a", &inner}};
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(parse("{\"a\":{\"x\":[1,", outer), -1);
        EXPECT_STREQ(deserializer.getErrorString(), "Invalid json data");
    }
    for (int i = 0; i < 10; ++i) {
        inner.onEvent = [](Source) { throw 5; };
        EXPECT_THROW(parse("{\"a\":{\"x\":1}}", outer), int);
#ifndef __arm__ // there the end of a thread sometimes passes destructors by
        inner.onEvent = [](Source) { pthread_exit(nullptr); };
        std::thread([&] { parse("{\"a\":{\"x\":1}}", outer); }).join();
#endif
    }
    EXPECT_EQ(parse("{\"a\":{\"x\":1},\"b\":2}", outer), 0);
    EXPECT_EQ(log, "o:reset o:{ o:a={ i:x=1 o:} o:b=2 o:}");
}

TEST_F(JsonDeserializerTest, AnEventMayParseAnotherStream)
{
    static const std::tuple<const char*, int, const char*> CASES[] = {{"[5]", 0, "t:reset t:[ t:5 t:]"},
                                                                      {"[5,{\"k\":[", -1, "t:reset t:[ t:5 t:{ t:k=["}};
    for (const auto& [document, expected, events] : CASES) {
        SCOPED_TRACE(document);
        const auto parseInner = [&, text = document, result = expected](Source source) {
            EXPECT_EQ(source, Source(deserializer));
            ByteArrayInputStream stream(text);
            EXPECT_EQ(source->parse(stream, third), result);
            EXPECT_EQ(source->getErrorString() == nullptr, result == 0);
            EXPECT_EQ(deserializer.getError().offset, result == 0 ? 0 : strlen(text)) << "of the inner one";
        };
        outer.handOut = {{"a", &inner}};
        inner.onEvent = parseInner;
        EXPECT_EQ(parse("{\"a\":{\"x\":\"s\",\"y\":[1]},\"b\":2}", outer), 0);
        EXPECT_EQ(log, std::string("o:reset o:{ o:a={ ") + events + " i:x=s i:y=[ i:1 i:] o:} o:b=2 o:}");
        EXPECT_EQ(deserializer.getErrorString(), nullptr);

        outer.handOut = {{"", &inner}};
        outer.onEvent = parseInner; // in the start event, before the collection is handed over
        EXPECT_EQ(parse("[1]", outer), 0);
        EXPECT_EQ(log, std::string("o:reset ") + events + " o:[ i:1 o:]");
    }
}

TEST_F(JsonDeserializerTest, NullHandlersAreReportedAndNullInputsAreNot)
{
    EXPECT_EQ(parse("[1]", nullptr), -1);
    EXPECT_STREQ(deserializer.getErrorString(), "Invalid handler");
    EXPECT_STREQ(deserializer.getError().getText(), "there is no handler");
    expectFailedCheck(Severity::FATAL, "WeakPtr", 37, "m_ptr");
    EXPECT_EQ(deserializer.parse(nullptr, outer), -1);
    EXPECT_EQ(log, "o:reset");
    EXPECT_STREQ(deserializer.getErrorString(), "Invalid data source");
    EXPECT_EQ(deserializer.getError().reason, json::JsonError::NO_SOURCE);
    EXPECT_EQ(parse("[1]", outer), 0);
    EXPECT_EQ(log, "o:reset o:[ o:1 o:]");
}

TEST_F(JsonDeserializerTest, CreationSurvivesExhaustedMemory)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        const Ostrel::AutoPtr<Deserializer> created = faults.during(json::JsonDeserializer::create);
        EXPECT_EQ(faults.again(json::JsonDeserializer::create)->getErrorString(), nullptr);
        if (created == nullptr)
            return false;
        ByteArrayInputStream stream("[1]");
        Deserializer::Handler handler;
        const int result = created->parse(stream, handler);
        EXPECT_STREQ(created->getErrorString(), result == 0 ? nullptr : "Out of memory");
        return result == 0;
    });
}

/// Knows only integers of 32 bits.
template <class Handler, class Source>
struct Narrow : Handler
{
    using Handler::onInteger;
    void onInteger(Source, const char*, int value) override { taken.push_back(value); }
    std::vector<int> taken;
};

TEST_F(JsonDeserializerTest, WideIntegersReachNarrowHandlersAsTheirLowBits)
{
    const char* const document = "[4294967297,{\"k\":-1},-4294967296]";
    Narrow<Deserializer::Handler, Source> handler;
    EXPECT_EQ(parse(document, handler), 0);
    EXPECT_EQ(handler.taken, (std::vector<int>{1, -1, 0}));
    Narrow<json::JsonParser::EventHandler, json::JsonParser*> events;
    EXPECT_EQ(json::JsonParser(&events).parse(document), 0);
    EXPECT_EQ(events.taken, handler.taken);
}
