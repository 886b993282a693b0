#include "ostrel/DataObjectBuilder.h"

#include "tests/support/LogBuilder.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

class DataObjectBuilderTest : public ReportTest
{
protected:
    void expectTree(const char* tree, const char* error = nullptr)
    {
        EXPECT_EQ(describe(_tree.getRoot().get()), tree);
        EXPECT_STREQ(_builder.getErrorString(), error);
        EXPECT_EQ(_builder.isOk(), error != nullptr) << "true only with an error";
        _builder.reset();
    }
    void expectEmptyStack() { expectFailedCheck(Severity::FATAL, "DataObjectHandler", 0, "!m_objectStack.isEmpty()"); }

    DataObjectBuilder _tree;
    StructBuilder& _builder = _tree;
};

TEST_F(DataObjectBuilderTest, CallsBecomeATree)
{
    _builder.map().add("int", -1).add("wide", 1LL << 40).add("text", "x").add("flag", true);
    _builder.list("list").add(1).add(-2LL).add("y").add(false).add(StructBuilder::NullType()).add("ignored", 3);
    _builder.list().end().map().add("k", StructBuilder::NullType()).end().end().map("map").end().end();
    expectTree("{flag:i1 int:i-1 list:[i1 i-2 s(y) i0 null i3 [] {k:null } ] map:{} text:s(x) wide:i1099511627776 } ");
    expectTree("nothing");
    _builder.map().end().add("late", 1).end(); // a root takes one end too many
    _builder.end();
    expectEmptyStack();
    expectTree("{late:i1 } ");
}

TEST_F(DataObjectBuilderTest, TreesAreCopiedButForWhatListsHold)
{
    const AutoPtr<DataObject> source = DataObject::parse("{'a':1, 'list':[1, 'x', [2]], 'n':null, 'map':{'t':%s", "x");
    source->serialize(_builder);
    expectTree("{a:i1 list:[] map:{t:s(x) } n:null } ");
    _builder.list().add(*source).add(7).add(*DataObject::createInt(1));
    expectTree("[i7 ] ");
}

TEST_F(DataObjectBuilderTest, APendingKeyIsUsedUpByOneCall)
{
    const Described silent([](StructBuilder&) {});
    const Described nesting([&](StructBuilder& builder) {
        builder.map().add("inner", silent).end().add(5); // the 5 has no key left
    });
    const Described restarting([](StructBuilder& builder) {
        builder.reset();
        builder.map("root").add(1); // the key outlives the reset and the call with a key
    });
    _builder.map().add("kept", restarting);
    expectTree("{kept:i1 } ");
    _builder.map().add("used", *DataObject::createInt(1)).add("silent", silent).add("outer", nesting);
    _builder.add(2).list().add(3).map().add("k", silent).end().end(); // no key: a map refuses the list with all in it
    _builder.add("late", 4).end();
    expectTree("{late:i4 outer:{} used:i1 } ");

    const Described throwing([](StructBuilder&) { throw 5; });
    _builder.map();
    EXPECT_THROW(_builder.add("lost", throwing), int);
    _builder.map().end().add("late", 6);
    expectTree("{late:i6 } ");
}

TEST_F(DataObjectBuilderTest, ValuesNestAThousandLevelsDeep)
{
    for (const bool isList : {true, false}) {
        int depth = 0;
        const Described nested([&](StructBuilder& builder) {
            ++depth;
            isList ? builder.list().add(nested) : builder.map().add("k", nested);
        });
        nested.serialize(_builder);
        EXPECT_EQ(depth, 1001) << "the outermost one, and 1,000 in it";
        EXPECT_EQ(takeReports().back().text, "test '_level < MAX_NESTING' failed");
        _builder.reset();
    }
}

TEST_F(DataObjectBuilderTest, WithoutMemoryEndsBalanceAndTheNextTreeIsWhole)
{
    const AutoPtr<DataObject> number = DataObject::createInt(3);
    const std::string whole = "{l:[i2 s(x) null ] last:i4 m:{a:i1 b:i1 c:i1 d:i1 e:i1 f:i1 g:i1 h:i1 i:i3 } } ";
    for (const bool withRoot : {false, true}) {
        sweepAllocationFailures([&](AllocationFaults& faults) {
            std::string trees[2];
            for (std::string& tree : trees) {
                if (withRoot && &tree == trees)
                    faults.arm();
                _builder.map();
                if (&tree == trees)
                    faults.arm();
                _builder.list("l").add(2).add("x").add(StructBuilder::NullType()).add(*number).end().map("m");
                for (char key[] = "a"; *key < 'i'; ++*key)
                    _builder.add(key, true);
                _builder.add("i", *number).end();
                faults.disarm();
                const bool isReported = !takeReports().empty();
                _builder.add("last", 4).end();
                tree = describe(_tree.getRoot().get());
                takeReports(); // of missing children
                EXPECT_TRUE(withRoot || _tree.getRoot()->has("last")) << "ends did not reach the root: " << tree;
                EXPECT_TRUE(isReported || tree == whole) << "lost without a report: " << tree;
                _builder.reset();
            }
            EXPECT_EQ(faults.again([&] { return trees[1]; }), whole);
            return trees[0] == whole;
        });
    }
}

TEST_F(DataObjectBuilderTest, MisuseIsRememberedUntilReset)
{
    const AutoPtr<DataObject> number = DataObject::createInt(1);
    _builder.add("k", *number);
    expectEmptyStack();
    expectTree("nothing", "Unable to add serializable without nesting");
    _builder.add(*number);
    expectEmptyStack();
    expectTree("nothing", "Add with no key requires top of stack to be a list.");
    _builder.map().add(*number).list("list").add("k", *number); // the last one counts
    expectTree("{list:[] } ", "Invalid add with key on non-object");
    _builder.add(5).end().end();
    expectTree("i5 ", "Invalid end call");
}

TEST_F(DataObjectBuilderTest, DoublesAreReportedAndDropped)
{
    const Described number([](StructBuilder& builder) { builder.add(1.5).add(2); });
    _builder.map().add("a", 1.5).add("b", 1.5, 2).add(1.5).add(1.5, 2).add("c", number);
    for (int i = 0; i < 5; ++i)
        expectReport(Severity::FATAL, "DataObjectBuilder", 0, "'Not Implemented'");
    expectTree("{} "); // a double uses the pending key up
}
