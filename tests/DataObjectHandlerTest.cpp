#include "ostrel/DataObjectHandler.h"

#include <limits>
#include <string>

#include "tests/support/AllocationFaults.h"
#include "tests/support/LogBuilder.h"
#include "tests/support/RecordingPolicy.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

class DataObjectHandlerTest : public ReportTest
{
protected:
    void expectFatal(const char* condition) { expectFailedCheck(Severity::FATAL, "DataObjectHandler", 0, condition); }
    std::string getTree() const
    {
        if (!_handler.getRoot())
            return "";
        LogBuilder builder;
        _handler.getRoot()->serialize(builder);
        return builder.text;
    }
    void open(int levels)
    {
        for (int i = 0; i < levels; ++i)
            _handler.arrayStart(nullptr, nullptr);
    }
    void close(int levels)
    {
        for (int i = 0; i < levels; ++i)
            _handler.arrayEnd(nullptr);
    }

    DataObjectHandler _handler;
    Deserializer::Handler& _events = _handler;
};

TEST_F(DataObjectHandlerTest, EventsBecomeNodes)
{
    EXPECT_EQ(_events.objectStart(nullptr, nullptr), nullptr);
    _events.onInteger(nullptr, "a", 1);
    _events.onInteger(nullptr, "A", -4294967296LL);
    _events.onString(nullptr, "text", "x");
    EXPECT_EQ(_events.arrayStart(nullptr, "list"), nullptr);
    _events.onBoolean(nullptr, nullptr, true);
    _events.onBoolean(nullptr, "ignored", false);
    _events.onNull(nullptr, nullptr);
    _events.onInteger(nullptr, nullptr, -1);
    _events.objectStart(nullptr, nullptr);
    _events.objectEnd(nullptr);
    _events.arrayEnd(nullptr);
    _events.onNull(nullptr, "z");
    _events.objectEnd(nullptr);
    EXPECT_EQ(getTree(), "{a:i-4294967296 list:[i1 i0 null i-1 {} ] text:s(x) z:null } ");
}

TEST_F(DataObjectHandlerTest, DoublesAreCutToIntegers)
{
    const double INF = std::numeric_limits<double>::infinity();
    _events.arrayStart(nullptr, nullptr);
    for (double value : {2.9, -2.9, 3e10, -3e10, INF, -INF, std::numeric_limits<double>::quiet_NaN(), 2147483646.5})
        _events.onDouble(nullptr, nullptr, value);
    EXPECT_EQ(getTree(), "[i2 i-2 i2147483647 i-2147483648 i2147483647 i-2147483648 i0 i2147483646 ] ");
}

TEST_F(DataObjectHandlerTest, RootStaysOpenUntilReset)
{
    open(1);
    close(1);
    _events.onInteger(nullptr, nullptr, 5);
    EXPECT_EQ(getTree(), "[i5 ] ") << "a second document lands in the first one's root";

    const SharedPtr<DataObject> kept = _handler.getRoot();
    _events.reset();
    EXPECT_FALSE(_handler.getRoot());
    EXPECT_EQ(kept->get(0).toInt(0), 5) << "the caller's share keeps the tree";
}

TEST_F(DataObjectHandlerTest, ScalarRootSwallowsWhatFollows)
{
    _events.onInteger(nullptr, nullptr, 5);
    _events.onString(nullptr, nullptr, "dropped");
    _events.objectStart(nullptr, "k");
    _events.onInteger(nullptr, "dropped", 1);
    _events.arrayStart(nullptr, "dropped");
    _events.arrayEnd(nullptr);
    _events.objectEnd(nullptr);
    EXPECT_EQ(getTree(), "i5 ");
    _events.reset();
    open(1);
    EXPECT_EQ(getTree(), "[] ");
}

TEST_F(DataObjectHandlerTest, KeylessChildrenOfAMapAreDropped)
{
    _events.objectStart(nullptr, nullptr);
    _events.onInteger(nullptr, nullptr, 1);
    _events.arrayStart(nullptr, nullptr);
    _events.onInteger(nullptr, nullptr, 2);
    _events.arrayEnd(nullptr);
    _events.onInteger(nullptr, "k", 3);
    EXPECT_EQ(getTree(), "{k:i3 } ");
}

TEST_F(DataObjectHandlerTest, FourteenCollectionsFitBelowTheRoot)
{
    open(15);
    expectNoReports();
    open(1);
    expectFatal("0 == m_objectStack.append(info)");
    close(16);
    expectNoReports();
    close(1);
    expectFatal("0 == m_objectStack.remove(m_objectStack.getSize() - 1)");
    EXPECT_FALSE(_handler.getTopOfStack());
    expectFatal("!m_objectStack.isEmpty()");
}

TEST_F(DataObjectHandlerTest, MissingNodesAreReportedAsTheRoot)
{
    _handler.pushCollection(AutoPtr<DataObject>(), nullptr, DataObjectHandler::TYPE_MAP);
    expectFatal("m_dataObject");
    _events.onInteger(nullptr, "k", 1);
    _events.objectEnd(nullptr);
    EXPECT_EQ(getTree(), "");
}

TEST_F(DataObjectHandlerTest, RefusedMemoryNeverBreaksTheBalance)
{
    sweepAllocationFailures([this](AllocationFaults& faults) {
        DataObjectHandler handler;
        faults.arm();
        handler.objectStart(nullptr, nullptr);
        handler.arrayStart(nullptr, "list");
        handler.onInteger(nullptr, nullptr, 1);
        handler.onString(nullptr, nullptr, "x");
        handler.arrayEnd(nullptr);
        handler.objectEnd(nullptr);
        faults.disarm();
        takeReports(); // a failed copy and a missing root are reported
        const DataObject* root = handler.getRoot().get();
        const char* text = root == nullptr ? nullptr : root->get("list").get(1).toString(nullptr);
        return text != nullptr && text == std::string("x");
    });
}
