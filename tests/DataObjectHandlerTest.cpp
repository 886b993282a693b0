#include "ostrel/DataObjectHandler.h"

#include "tests/support/LogBuilder.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

class DataObjectHandlerTest : public ReportTest
{
protected:
    void expectFatal(const char* condition) { expectFailedCheck(Severity::FATAL, "DataObjectHandler", 0, condition); }
    std::string getTree() const { return describe(_handler.getRoot().get()); }
    /// Brackets open and close collections, a digit is an integer, 't' and 'f' are booleans, 'n' is null and 's' is a
    /// text; all are under the key "k", but the one behind a '!', which has none.
    void play(const std::string& events)
    {
        using Key = const char*;
        const std::map<char, std::function<void(Key)>> EVENTS = {
            {'{', [this](Key key) { EXPECT_EQ(_events.objectStart(nullptr, key), nullptr); }},
            {'[', [this](Key key) { EXPECT_EQ(_events.arrayStart(nullptr, key), nullptr); }},
            {'}', [this](Key) { _events.objectEnd(nullptr); }},
            {']', [this](Key) { _events.arrayEnd(nullptr); }},
            {'t', [this](Key key) { _events.onBoolean(nullptr, key, true); }},
            {'f', [this](Key key) { _events.onBoolean(nullptr, key, false); }},
            {'n', [this](Key key) { _events.onNull(nullptr, key); }},
            {'s', [this](Key key) { _events.onString(nullptr, key, "x"); }},
            {'!', [](Key) {}}};
        for (size_t i = 0; i < events.size(); ++i) {
            const Key key = i > 0 && events[i - 1] == '!' ? nullptr : "k";
            const auto event = EVENTS.find(events[i]);
            event != EVENTS.end() ? event->second(key) : _events.onInteger(nullptr, key, events[i] - '0');
        }
    }

    DataObjectHandler _handler;
    Deserializer::Handler& _events = _handler;
};

TEST_F(DataObjectHandlerTest, IntegersAreKeptAndDoublesCut)
{
    const double INF = std::numeric_limits<double>::infinity();
    play("[");
    _events.onInteger(nullptr, nullptr, -4294967296LL);
    for (double value : {2.9, -2.9, 3e10, -3e10, INF, -INF, std::numeric_limits<double>::quiet_NaN(), 2147483646.5})
        _events.onDouble(nullptr, nullptr, value);
    EXPECT_EQ(getTree(), "[i-4294967296 i2 i-2 i2147483647 i-2147483648 i2147483647 i-2147483648 i0 i2147483646 ] ");
}

TEST_F(DataObjectHandlerTest, ValuesLandInTheInnermostCollectionThatIsThere)
{
    static const char* const CASES[][2] = {
        {"[{1}2{[3]}]", "[{k:i1 } i2 {k:[i3 ] } ] "},
        {"[!t!f!n!s{t}{n}{s", "[i1 i0 null s(x) {k:i1 } {k:null } {k:s(x) } ] "},
        {"[]5[6", "[i5 [i6 ] ] "},   // the root stays open for a second document
        {"5{1[2]}3", "i5 "},         // a scalar root swallows what follows
        {"{!1![2{3}]4", "{k:i4 } "}, // a map drops what has no key, with all that is in it
        {"[1}]2", "i2 "},            // ends have no kind; the second one closes the root for good
    };
    for (const auto& c : CASES) {
        _events.reset();
        EXPECT_FALSE(_handler.getRoot());
        play(c[0]);
        EXPECT_EQ(getTree(), c[1]) << c[0];
    }
    const SharedPtr<DataObject> kept = _handler.getRoot();
    _events.reset();
    EXPECT_EQ(kept->toInt(0), 2) << "the caller's share keeps the tree";
}

TEST_F(DataObjectHandlerTest, FourteenCollectionsFitBelowTheRoot)
{
    play(std::string(15, '['));
    expectNoReports();
    play("[");
    expectFatal("0 == m_objectStack.append(info)");
    play(std::string(16, ']'));
    expectNoReports();
    play("}");
    expectFatal("0 == m_objectStack.remove(m_objectStack.getSize() - 1)");
    EXPECT_FALSE(_handler.getTopOfStack());
    expectFatal("!m_objectStack.isEmpty()");
}

TEST_F(DataObjectHandlerTest, MissingNodesAreReportedAsTheRoot)
{
    _handler.pushCollection(AutoPtr<DataObject>(), nullptr, DataObjectHandler::TYPE_MAP);
    expectFatal("m_dataObject");
    const DataObjectHandler::DataObjectHandlerInfo& top = *_handler.getTopOfStack();
    EXPECT_TRUE(top.type == DataObjectHandler::TYPE_MAP && top.collection == nullptr);
    play("1[2]}");
    EXPECT_EQ(getTree(), "nothing");
}
