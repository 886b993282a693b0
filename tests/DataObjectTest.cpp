#include "ostrel/DataObject.h"

#include <climits>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/AllocationFaults.h"
#include "tests/support/LogBuilder.h"
#include "tests/support/RecordingPolicy.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

namespace {

/// A node that tells how many of its kind are alive.
class CountedNode : public NullDataObject
{
public:
    CountedNode() { ++alive; }
    ~CountedNode() override { --alive; }
    static int alive;
};
int CountedNode::alive = 0;

AutoPtr<DataObject> makeInt(long long value)
{
    return DataObject::createInt(value);
}

AutoPtr<DataObject> makeText(const char* text)
{
    return DataObject::createString(text);
}

AutoPtr<DataObject> makeCounted()
{
    return AutoPtr<DataObject>(new CountedNode);
}

AutoPtr<DataObject> noNode()
{
    return AutoPtr<DataObject>();
}

std::string serialize(const DataObject& node)
{
    LogBuilder builder;
    node.serialize(builder);
    return builder.text;
}

std::string dump(const DataObject& node)
{
    testing::internal::CaptureStdout();
    node.print();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

/// {"a": 1, "list": [null, "x", <invalid>], "map": {"k": -5}}
AutoPtr<DataObject> makeTree()
{
    AutoPtr<DataObject> list(new DataObjectList);
    list->append(AutoPtr<DataObject>(new NullDataObject));
    list->append(makeText("x"));
    list->append(AutoPtr<DataObject>(new InvalidDataObject));
    AutoPtr<DataObject> map(new DataObjectMap);
    map->set("k", makeInt(-5));
    AutoPtr<DataObject> root(new DataObjectMap);
    root->set("map", std::move(map));
    root->set("list", std::move(list));
    root->set("a", makeInt(1));
    return root;
}

} // namespace

class DataObjectTest : public ReportTest
{
protected:
    DataObjectTest() { CountedNode::alive = 0; }
    void TearDown() override
    {
        EXPECT_EQ(CountedNode::alive, 0);
        ReportTest::TearDown();
    }
    void expectClampReport() { expectFailedCheck(Severity::RECOVERABLE, "ArrayList", 299, "index < _size"); }
    void expectNullReport() { expectFailedCheck(Severity::FATAL, "WeakPtr", 37, "m_ptr"); }
};

TEST_F(DataObjectTest, TextsConvertToNumbersAndBooleans)
{
    struct Case
    {
        const char* text;
        int number;  // with the default 77
        int boolean; // 2 stands for the default
    };
    static const Case CASES[] = {
        {"", 77, 2},
        {"12", 12, 1},
        {" 12", 77, 2},
        {"\t1", 77, 2},
        {"\n1", 77, 2},
        {"\r12", 12, 1},
        {"\v12", 12, 1},
        {"12 ", 77, 2},
        {"0x10", 77, 2},
        {"+", 77, 2},
        {"+3", 3, 1},
        {"-1", -1, 1},
        {"0", 0, 0},
        {"00", 0, 0},
        {"4294967296", INT_MAX, 1},
        {"-2147483649", INT_MIN, 1},
        {"99999999999999999999", INT_MAX, 1},
        {"On", 77, 1},
        {"yes", 77, 1},
        {"TRUE", 77, 1},
        {"oFF", 77, 0},
        {"No", 77, 0},
        {"false", 77, 0},
        {"maybe", 77, 2},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.text);
        const AutoPtr<DataObject> node = makeText(c.text);
        EXPECT_EQ(node->convertToInt(77), c.number);
        EXPECT_EQ(node->convertToBool(true), c.boolean != 0);
        EXPECT_EQ(node->convertToBool(false), c.boolean == 1);
        EXPECT_EQ(node->convertToStdString("d"), c.text);
        EXPECT_STREQ(node->toString("d"), c.text);
        EXPECT_EQ(node->toInt(5), 5) << "only the convertTo family parses texts";
    }
    EXPECT_STREQ(DataObject::createString(nullptr)->toString("d"), "");
}

TEST_F(DataObjectTest, IntegersAnswerWithTheirLowBits)
{
    const AutoPtr<DataObject> node = makeInt(4294967297LL);
    EXPECT_EQ(node->toInt(0), 1);
    EXPECT_EQ(node->convertToInt(0), 1);
    EXPECT_EQ(node->toInt64(0), 4294967297LL);
    EXPECT_EQ(node->toFloat(0), 4294967296.0f);
    EXPECT_TRUE(makeInt(1LL << 32)->convertToBool(false)) << "the whole value counts";
    EXPECT_EQ(makeInt(-42)->convertToStdString(nullptr), "-42");
    EXPECT_STREQ(node->toString("d"), "d");
}

TEST_F(DataObjectTest, IntegersAreCreatedFromTexts)
{
    struct Case
    {
        const char* text;
        bool valid;
        long long value;
    };
    static const Case CASES[] = {{"12abc", true, 12},
                                 {" \n-7", true, -7},
                                 {"9223372036854775806", true, 9223372036854775806LL},
                                 {"9223372036854775807", false, 0},
                                 {"-9223372036854775808", false, 0},
                                 {"99999999999999999999", false, 0},
                                 {"x", false, 0},
                                 {"", false, 0},
                                 {nullptr, false, 0}};
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.text == nullptr ? "null" : c.text);
        const AutoPtr<DataObject> node = IntegerDataObject::create(c.text);
        ASSERT_TRUE(node);
        EXPECT_EQ(node->isValid(), c.valid);
        EXPECT_EQ(node->toInt64(0), c.value);
    }
}

TEST_F(DataObjectTest, AChainOfMissesEndsInTheDefault)
{
    const AutoPtr<DataObject> root = makeTree();
    const DataObject& miss = root->get("missing").get(2);
    EXPECT_EQ(miss.toInt(7), 7);
    EXPECT_FALSE(miss.isValid());
    EXPECT_TRUE(miss.isNull());
    EXPECT_THROW(miss.convertToStdString(nullptr), std::logic_error);
    EXPECT_FALSE(root->get("list").get(3).isValid());
    EXPECT_FALSE(root->get(0).isValid());
    EXPECT_FALSE(root->iterator()->value().get("x").iterator()->hasCurrent());
    EXPECT_EQ(root->append(makeCounted()), -1);
    EXPECT_EQ(root->set(0, makeCounted()), -1);
    EXPECT_EQ(makeInt(1)->set("k", makeCounted()), -1);
    EXPECT_FALSE(root->unset(0));
    EXPECT_EQ(root->binaryValue(), nullptr);
    EXPECT_STREQ(root->getTypeName(), "DataObject");
}

TEST_F(DataObjectTest, ListsGrowThroughAppendOnly)
{
    DataObjectList list;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(list.append(makeCounted()), 0);
    EXPECT_EQ(list.set(3, makeCounted()), -1);
    EXPECT_EQ(list.set(1, makeInt(5)), 0);
    EXPECT_EQ(CountedNode::alive, 2);
    EXPECT_FALSE(list.unset(3));

    const AutoPtr<DataObject> removed = list.unset(0);
    EXPECT_EQ(CountedNode::alive, 2) << "the removed child is the caller's";
    EXPECT_EQ(list.getNumChildren(), 2);
    EXPECT_EQ(list.get(0).toInt(0), 5);
}

TEST_F(DataObjectTest, NegativeIndexesAreReportedAndMeanTheLastChild)
{
    DataObjectList list;
    for (int i = 0; i < 9; ++i)
        list.append(makeInt(i));
    EXPECT_TRUE(list.has(-1));
    EXPECT_EQ(list.get(-1).toInt(0), 8);
    expectClampReport();
    EXPECT_EQ(list.set(INT_MIN, makeInt(80)), 0);
    expectClampReport();
    EXPECT_EQ(list.unset(-2)->toInt(0), 80);
    expectClampReport();
    EXPECT_EQ(list.getNumChildren(), 8);

    DataObjectList empty;
    EXPECT_FALSE(empty.get(-1).isValid());
    expectClampReport();
    EXPECT_EQ(empty.set(-1, makeCounted()), -1);
    expectClampReport();
    EXPECT_FALSE(empty.unset(-1));
    expectClampReport();
}

TEST_F(DataObjectTest, MapKeysHaveNoLetterCase)
{
    DataObjectMap map;
    EXPECT_EQ(map.set("Key", makeCounted()), 0);
    EXPECT_EQ(map.set("KEY", makeInt(2)), 0);
    EXPECT_EQ(CountedNode::alive, 0);
    EXPECT_EQ(map.getNumChildren(), 1);
    EXPECT_STREQ(map.iterator()->key(), "Key") << "the first spelling stays";
    EXPECT_TRUE(map.has("key"));
    EXPECT_EQ(map.unset("kEy")->toInt(0), 2);
    EXPECT_EQ(map.getNumChildren(), 0);
    EXPECT_FALSE(map.unset("kEy"));

    const char* noKey = nullptr;
    EXPECT_EQ(map.set(noKey, makeCounted()), -1);
    EXPECT_FALSE(map.has(noKey));
    EXPECT_FALSE(map.get(noKey).isValid());
    EXPECT_FALSE(map.unset(noKey));
}

TEST_F(DataObjectTest, MapsAgreeWithAModelThroughRandomChanges)
{
    std::mt19937 random(7);
    DataObjectMap map;
    std::map<std::string, int> model; // by lower-case key
    for (int step = 0; step < 3000; ++step) {
        std::string key = "k" + std::to_string(random() % 40);
        const std::string lower = key;
        if (random() % 2 != 0)
            key[0] = 'K';
        if (random() % 3 == 0) {
            const AutoPtr<DataObject> removed = map.unset(key.c_str());
            ASSERT_EQ(removed ? removed->toInt(-1) : -1, model.count(lower) != 0 ? model[lower] : -1);
            model.erase(lower);
        } else {
            ASSERT_EQ(map.set(key.c_str(), makeInt(step)), 0);
            model[lower] = step;
        }
    }
    auto expected = model.begin();
    for (auto it = map.iterator(); it->hasCurrent(); it->next(), ++expected) {
        ASSERT_NE(expected, model.end());
        EXPECT_STRCASEEQ(it->key(), expected->first.c_str());
        EXPECT_EQ(it->value().toInt(-1), expected->second);
    }
    EXPECT_EQ(expected, model.end());
}

TEST_F(DataObjectTest, TreesDescribeThemselvesInKeyOrder)
{
    EXPECT_EQ(serialize(*makeTree()), "{a:i1 list:[null s(x) ] map:{k:i-5 } } ");
    DataObjectMap map;
    for (const char* key : {"b", "A", "c"})
        map.set(key, AutoPtr<DataObject>(new NullDataObject));
    EXPECT_EQ(serialize(map), "{A:null b:null c:null } ");
    makeTree()->serialize(nullptr);
    expectNullReport();
}

TEST_F(DataObjectTest, ClonesAreDeep)
{
    const AutoPtr<DataObject> original = makeTree();
    const AutoPtr<DataObject> copy = original->clone();
    EXPECT_EQ(serialize(*copy), serialize(*original));
    EXPECT_FALSE(copy->get("list").get(2).isValid());
    copy->get("map").set("k", makeInt(0));
    copy->get("list").append(makeInt(0));
    EXPECT_EQ(serialize(*original), serialize(*makeTree()));
}

TEST_F(DataObjectTest, DumpsShowEveryKind)
{
    EXPECT_EQ(dump(*makeTree()), "Printing DataObjectMap:\n"
                                 "DataObjectMap:\n"
                                 "\tkey: a\tIntegerDataObject: 1\n"
                                 "\tkey: list\tDataObjectList:\n"
                                 "\t\tkey: 0\tNullDataObject\n"
                                 "\t\tkey: 1\tStringDataObject: x\n"
                                 "\t\tkey: 2\tINVALID DATA OBJECT\n"
                                 "\tkey: map\tDataObjectMap:\n"
                                 "\t\tkey: k\tIntegerDataObject: -5\n");
    EXPECT_EQ(dump(*makeInt(3)), "Printing IntegerDataObject:\nIntegerDataObject: 3\n");
    EXPECT_EQ(dump(*makeText("t")), "Printing StringDataObject:\nStringDataObject: t\n");
    EXPECT_EQ(dump(NullDataObject()), "Printing NullDataObject:\nNullDataObject\n");
    EXPECT_EQ(dump(InvalidDataObject()), "Printing InvalidDataObject:\nINVALID DATA OBJECT\n");
    EXPECT_EQ(dump(DataObjectList()), "Printing DataObjectList:\nDataObjectList:\n");
}

TEST_F(DataObjectTest, NullChildrenAreReportedWhereTheyAreUsedAndSurvivedElsewhere)
{
    DataObjectList list;
    list.append(noNode());
    list.append(makeInt(1));
    DataObjectMap map;
    map.set("n", noNode());

    EXPECT_FALSE(list.get(0).isValid());
    EXPECT_FALSE(list.iterator()->value().isValid());
    EXPECT_FALSE(map.get("n").isValid());
    EXPECT_FALSE(map.iterator()->value().isValid());
    EXPECT_TRUE(map.has("n"));
    EXPECT_EQ(list.clone()->getNumChildren(), 2);
    expectNoReports();

    EXPECT_EQ(serialize(list), "[i1 ] ");
    expectNullReport();
    EXPECT_EQ(serialize(map), "{} ");
    expectNullReport();
    EXPECT_EQ(dump(list), "Printing DataObjectList:\nDataObjectList:\n\tkey: 0\t\tkey: 1\tIntegerDataObject: 1\n");
    expectNullReport();
    EXPECT_FALSE(map.unset("n"));
    EXPECT_FALSE(list.unset(0));
    EXPECT_EQ(list.getNumChildren(), 1);
}

TEST_F(DataObjectTest, OversizeTextsLeaveANodeWithoutText)
{
    const std::string largest(262143, 'x');
    EXPECT_EQ(makeText(largest.c_str())->toString(nullptr), largest);

    const AutoPtr<DataObject> node = makeText((largest + "x").c_str());
    expectReport(Severity::FATAL, "DynamicString", 0, "'Requested string is far too large:  262145\n'");
    expectFailedCheck(Severity::FATAL, "DynamicString", 45, "RC_OK == growAndAssign(orig)");
    ASSERT_TRUE(node);
    EXPECT_EQ(node->toString("d"), nullptr);
    EXPECT_EQ(node->convertToInt(7), 7);
    EXPECT_TRUE(node->convertToBool(true));
    EXPECT_THROW(node->convertToStdString("d"), std::logic_error);
}

TEST_F(DataObjectTest, RefusedMemoryIsACodeAndLosesNothing)
{
    sweepAllocationFailures([](AllocationFaults& faults) {
        DataObjectList list;
        for (int i = 0; i < 8; ++i)
            list.append(makeInt(i));
        AutoPtr<DataObject> child = makeCounted();
        faults.arm();
        const int code = list.append(std::move(child));
        faults.disarm();
        EXPECT_EQ(code, list.getNumChildren() == 9 ? 0 : 2);
        EXPECT_EQ(CountedNode::alive, code == 0 ? 1 : 0);
        return code == 0;
    });
    sweepAllocationFailures([](AllocationFaults& faults) {
        DataObjectMap map;
        for (int i = 0; i < 8; ++i)
            map.set(std::to_string(i).c_str(), makeInt(i));
        AutoPtr<DataObject> child = makeCounted();
        faults.arm();
        const int code = map.set("x", std::move(child));
        faults.disarm();
        EXPECT_EQ(code, map.getNumChildren() == 9 ? 0 : -1);
        EXPECT_EQ(CountedNode::alive, code == 0 ? 1 : 0);
        return code == 0;
    });
}
