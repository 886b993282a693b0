#include "ostrel/DataObject.h"

#include "json/JsonSerializer.h"
#include "tests/support/LogBuilder.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

static AutoPtr<DataObject> (*const makeInt)(long long) = DataObject::createInt;
static AutoPtr<DataObject> (*const makeText)(const char*) = DataObject::createString;

static const char* const NO_TEXT = nullptr;

static std::string dump(const DataObject& node)
{
    testing::internal::CaptureStdout();
    node.print();
    return testing::internal::GetCapturedStdout();
}

/// {"a": 1, "list": [null, "x", <invalid>], "map": {"k": -5}}
static AutoPtr<DataObject> makeTree()
{
    AutoPtr<DataObject> root = DataObject::parse("{'map':{'k':%d", -5);
    root->set("list", "[null, 'x']");
    root->get("list").append(AutoPtr<DataObject>(new InvalidDataObject));
    root->set("a", makeInt(1));
    return root;
}

class DataObjectTest : public ReportTest
{
protected:
    void expectClampReports(int count)
    {
        while (count-- > 0)
            expectFailedCheck(Severity::RECOVERABLE, "ArrayList", 299, "index < _size");
    }
    void expectNullReport() { expectFailedCheck(Severity::FATAL, "WeakPtr", 37, "m_ptr"); }
};

TEST_F(DataObjectTest, TextsConvertToNumbersAndBooleans)
{
    // As a number with the default 77, as a boolean with the defaults true and false.
    const std::tuple<int, bool, bool, std::vector<const char*>> CASES[] = {
        {77, true, false, {"", " 12", "\t1", "\n1", "12 ", "0x10", "+", "maybe"}},
        {77, true, true, {"On", "yes", "TRUE"}},
        {77, false, false, {"oFF", "No", "false"}},
        {12, true, true, {"12", "\r12", "\v12", "+12"}},
        {-1, true, true, {"-1"}},
        {0, false, false, {"0", "00"}},
        {INT_MAX, true, true, {"4294967296", "99999999999999999999"}},
        {INT_MIN, true, true, {"-2147483649"}},
    };
    for (const auto& [number, orTrue, orFalse, texts] : CASES) {
        for (const char* text : texts) {
            SCOPED_TRACE(text);
            const AutoPtr<DataObject> node = makeText(text);
            EXPECT_EQ(node->convertToInt(77), number);
            EXPECT_EQ(node->convertToBool(true), orTrue);
            EXPECT_EQ(node->convertToBool(false), orFalse);
            EXPECT_EQ(node->convertToStdString("d"), text);
            EXPECT_STREQ(node->toString("d"), text);
            EXPECT_EQ(node->toInt(5), 5) << "only the convertTo family parses texts";
        }
    }
    EXPECT_STREQ(DataObject::createString(nullptr)->toString("d"), "");
}

TEST_F(DataObjectTest, IntegersAnswerWithTheirLowBitsAndComeFromTexts)
{
    const AutoPtr<DataObject> node = makeInt(4294967297LL);
    EXPECT_EQ(node->toInt(0), 1);
    EXPECT_EQ(node->convertToInt(0), 1);
    EXPECT_EQ(node->toInt64(0), 4294967297LL);
    EXPECT_EQ(node->toFloat(0), 4294967296.0f);
    EXPECT_TRUE(makeInt(1LL << 32)->convertToBool(false)) << "the whole value counts";
    EXPECT_EQ(makeInt(-42)->convertToStdString(nullptr), "-42");
    EXPECT_STREQ(node->toString("d"), "d");

    EXPECT_EQ(IntegerDataObject::create(" \n-7abc")->toInt64(0), -7);
    EXPECT_EQ(IntegerDataObject::create("9223372036854775806")->toInt64(0), LLONG_MAX - 1);
    for (const char* text : {"9223372036854775807", "-9223372036854775808", "99999999999999999999", "x", "", NO_TEXT}) {
        const AutoPtr<DataObject> created = IntegerDataObject::create(text);
        ASSERT_TRUE(created);
        EXPECT_FALSE(created->isValid()) << (text == nullptr ? "null" : text);
    }
}

TEST_F(DataObjectTest, AChainOfMissesEndsInTheDefault)
{
    const AutoPtr<DataObject> root = makeTree();
    const DataObject& miss = root->get("missing").get(2);
    EXPECT_EQ(miss.toInt(7), 7);
    EXPECT_TRUE(miss.isNull() && !miss.isValid());
    EXPECT_THROW(miss.convertToStdString(nullptr), std::logic_error);
    EXPECT_FALSE(root->get("list").get(3).isValid() || root->get(0).isValid());
    EXPECT_FALSE(root->iterator()->value().get("x").iterator()->hasCurrent());
    EXPECT_EQ(root->append(makeInt(1)), -1);
    EXPECT_EQ(root->set(0, makeInt(1)), -1);
    EXPECT_EQ(makeInt(1)->set("k", makeInt(1)), -1);
    EXPECT_FALSE(root->unset(0));
    EXPECT_STREQ(root->getTypeName(), "DataObject");
}

TEST_F(DataObjectTest, KindsOfUsersThatDefineNothingAnswerWithDefaults)
{
    struct : DataObject
    {
        AutoPtr<DataObject> clone() const override { return nullptr; }
        void print() const override {}
        void internalPrint(int) const override {}
    } node;
    EXPECT_EQ(node.toInt(7) + node.toInt64(70) + node.toFloat(700) + node.convertToInt(7000), 7777);
    EXPECT_STREQ(node.toString("text"), "text");
    EXPECT_TRUE(node.convertToBool(true) && node.isValid() && !node.isNull());
    EXPECT_FALSE(node.has(0) || node.has("k") || node.get("k").isValid() || node.unset("k") || node.unset(0));
    EXPECT_EQ(node.append(makeInt(1)) + node.set("k", makeInt(1)) + node.set(0, makeInt(1)), -3);
    EXPECT_TRUE(node.binaryValue() == nullptr && node.binaryLength() == 0);
    const AutoPtr<DataObject::DataObjectIterator> none = node.iterator();
    none->next();
    EXPECT_TRUE(!none->hasCurrent() && none->key() == nullptr && !none->value().isValid());
    EXPECT_EQ(describe(&node), "");
}

TEST_F(DataObjectTest, NegativeIndexesAreReportedAndMeanTheLastChild)
{
    DataObjectList list;
    for (int i = 0; i < 3; ++i)
        list.append(makeInt(i));
    EXPECT_TRUE(list.has(-1));
    EXPECT_EQ(list.get(-1).toInt(0), 2);
    EXPECT_EQ(list.set(INT_MIN, makeInt(80)), 0);
    EXPECT_EQ(list.unset(-2)->toInt(0), 80);
    expectClampReports(3);
    EXPECT_EQ(list.set(2, makeInt(4)), -1) << "only an append makes it longer";
    EXPECT_EQ(list.set(1, makeInt(5)), 0);
    EXPECT_FALSE(list.unset(2));
    EXPECT_EQ(describe(&list), "[i0 i5 ] ");
    EXPECT_EQ(list.unset(0)->toInt(7), 0);

    DataObjectList empty;
    EXPECT_FALSE(empty.get(-1).isValid());
    EXPECT_EQ(empty.set(-1, makeInt(1)), -1);
    EXPECT_FALSE(empty.unset(-1));
    expectClampReports(3);
}

TEST_F(DataObjectTest, MapKeysHaveNoLetterCase)
{
    DataObjectMap map;
    EXPECT_EQ(map.set("Key", makeInt(1)) + map.set("KEY", makeInt(2)), 0);
    EXPECT_EQ(describe(&map), "{Key:i2 } ") << "the first spelling stays";
    EXPECT_TRUE(map.has("key") && map.iterator()->key() == std::string("Key"));
    EXPECT_EQ(map.set(NO_TEXT, makeInt(1)), -1);
    EXPECT_FALSE(map.has(NO_TEXT) || map.get(NO_TEXT).isValid() || map.unset(NO_TEXT));
    EXPECT_EQ(map.unset("kEy")->toInt(0), 2);
    EXPECT_FALSE(map.unset("kEy"));
}

TEST_F(DataObjectTest, TreesDescribeThemselvesAndDumpsShowEveryKind)
{
    EXPECT_EQ(describe(makeTree().get()), "{a:i1 list:[null s(x) ] map:{k:i-5 } } ");
    EXPECT_EQ(dump(*makeTree()), "Printing DataObjectMap:\n"
                                 "DataObjectMap:\n"
                                 "\tkey: a\tIntegerDataObject: 1\n"
                                 "\tkey: list\tDataObjectList:\n"
                                 "\t\tkey: 0\tNullDataObject\n"
                                 "\t\tkey: 1\tStringDataObject: x\n"
                                 "\t\tkey: 2\tINVALID DATA OBJECT\n"
                                 "\tkey: map\tDataObjectMap:\n"
                                 "\t\tkey: k\tIntegerDataObject: -5\n");
    EXPECT_EQ(dump(*makeText("t")) + dump(*makeInt(3)) + dump(NullDataObject()) + dump(InvalidDataObject()),
              "Printing StringDataObject:\nStringDataObject: t\nPrinting IntegerDataObject:\nIntegerDataObject: 3\n"
              "Printing NullDataObject:\nNullDataObject\nPrinting InvalidDataObject:\nINVALID DATA OBJECT\n");
    testing::internal::CaptureStdout();
    makeInt(3)->print(NO_TEXT);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nIntegerDataObject: 3\n");
}

TEST_F(DataObjectTest, TreesOfAnyDepthAreCopiedAndFreedButNotWritten)
{
    AutoPtr<DataObject> tree = makeInt(7);
    for (int i = 0; i < 100000; ++i) {
        AutoPtr<DataObject> outer = DataObject::parse(i % 2 == 0 ? "[1, [2]]" : "{'a':1, 'z':[2]");
        EXPECT_EQ(i % 2 == 0 ? outer->append(std::move(tree)) : outer->set("m", std::move(tree)), 0);
        tree = std::move(outer);
    }
    const AutoPtr<DataObject> copy = tree->clone();
    const DataObject* node = copy.get();
    while (node->getNumChildren() == 3)
        node = node->has("m") ? &node->get("m") : &node->get(2);
    EXPECT_EQ(node->toInt(0), 7);

    testing::internal::CaptureStdout();
    copy->internalPrint(990);
    const std::string lines = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 40);
    for (int i = 0; i < 2; ++i)
        expectFailedCheck(Severity::RECOVERABLE, "DataObjectCollections", 0, "depth < MAX_NESTING");
    json::JsonSerializer serializer;
    copy->serialize(serializer);
    EXPECT_EQ(takeReports().size(), 4U) << "one for each child at the bound";
}

/// Adds to its container whatever is asked of it.
struct Growing : NullDataObject
{
    explicit Growing(DataObject& container) : _container(container) {}
    void serialize(WeakPtr<StructBuilder>) const override { grow(); }
    AutoPtr<DataObject> clone() const override { return grow(), makeInt(0); }
    void grow() const
    {
        for (int i = 0; i < 20; ++i) {
            if (_container.append("1") != 0)
                _container.set(("x" + std::to_string(_container.getNumChildren())).c_str(), makeInt(0));
        }
    }
    DataObject& _container;
};

TEST_F(DataObjectTest, ContainersMayChangeWhileTheirChildrenAreVisited)
{
    for (const bool isMap : {false, true}) {
        const AutoPtr<DataObject> node = DataObject::parse(isMap ? "{'a': 1, 'z': 2" : "[1, 2]");
        AutoPtr<DataObject> child(new Growing(*node));
        EXPECT_EQ(isMap ? node->set("b", std::move(child)) : node->append(std::move(child)), 0);
        const std::string text = describe(node.get());
        EXPECT_EQ(std::count(text.begin(), text.end(), 'i'), 22) << "what was added is visited as well";
        EXPECT_EQ(node->clone()->getNumChildren(), 43);
    }
}

TEST_F(DataObjectTest, NullsAreReportedWhereTheyAreUsedAndSurvivedElsewhere)
{
    DataObjectList list;
    list.append(AutoPtr<DataObject>());
    list.append(makeInt(1));
    DataObjectMap map;
    map.set("n", AutoPtr<DataObject>());

    for (const DataObject* node : {&list.get(0), &list.iterator()->value(), &map.get("n"), &map.iterator()->value()})
        EXPECT_FALSE(node->isValid());
    EXPECT_TRUE(map.has("n"));
    EXPECT_EQ(list.clone()->getNumChildren(), 2);
    EXPECT_EQ(map.clone()->getNumChildren(), 1);
    expectNoReports();

    EXPECT_EQ(describe(&list), "[i1 ] ");
    expectNullReport();
    EXPECT_EQ(describe(&map), "{} ");
    expectNullReport();
    EXPECT_EQ(dump(list), "Printing DataObjectList:\nDataObjectList:\n\tkey: 0\t\tkey: 1\tIntegerDataObject: 1\n");
    expectNullReport();
    EXPECT_FALSE(map.unset("n") || list.unset(0));
    EXPECT_EQ(list.getNumChildren(), 1);
    for (const DataObject* node : std::initializer_list<const DataObject*>{&list.get(0), &list, &map}) {
        node->serialize(nullptr);
        expectNullReport();
    }
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
    for (const bool isMap : {false, true}) {
        sweepAllocationFailures([isMap](AllocationFaults& faults) {
            const AutoPtr<DataObject> node =
                DataObject::parse(isMap ? "{'a':1,'b':2,'c':3,'d':4,'e':5,'f':6,'g':7,'h':8" : "[1,2,3,4,5,6,7,8]");
            AutoPtr<DataObject> child = makeInt(1);
            const int code = faults.during(
                [&] { return isMap ? node->set("x", std::move(child)) : node->append(std::move(child)); });
            EXPECT_EQ(code, node->getNumChildren() == 9 ? 0 : isMap ? -1 : 2);
            EXPECT_EQ(faults.again([&] { return isMap ? node->set("y", makeInt(1)) : node->append(makeInt(1)); }), 0);
            return code == 0;
        });
    }
}

TEST_F(DataObjectTest, ClonesAreDeepAndWholeOrNothing)
{
    const AutoPtr<DataObject> deep =
        DataObject::parse("[[[[[[[[[[[[[[[[[[[['x',{'k':'y'}]"); // takes more than the copy
    const std::string whole = "{a:i1 deep:" + describe(deep.get()) + "list:[null s(x) ] map:{k:i-5 } } ";
    sweepAllocationFailures([&](AllocationFaults& faults) {
        const AutoPtr<DataObject> original = makeTree();
        original->set("deep", deep->clone());
        AutoPtr<DataObject> copy;
        try {
            copy = faults.during([&] { return original->clone(); });
        } catch (const std::bad_alloc&) { // scalars throw
        }
        const bool isDone = takeReports().empty() && copy; // a text that cannot be copied is reported
        EXPECT_EQ(describe(faults.again([&] { return original->clone(); }).get()), whole);
        if (!isDone)
            return false;
        EXPECT_EQ(describe(copy.get()), whole);
        EXPECT_FALSE(copy->get("list").get(2).isValid());
        copy->get("list").append(makeInt(0));
        EXPECT_EQ(describe(original.get()), whole);
        return true;
    });
}
