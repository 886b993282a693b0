#include "xml/XmlGen.h"

#include "tests/support/AllocationFaults.h"

using xml::XmlGen;

static const char* const NO_TEXT = nullptr;
static const XmlGen::NullType NOTHING;

/// The text without the declaration that it has to begin with. NUL bytes are shown as '$'.
static std::string bodyOf(const XmlGen& gen)
{
    const std::string declaration = "<?xml version='1.0' encoding='UTF-8'?>";
    std::string text(gen.getLength() == 0 ? "" : gen.getData(), gen.getLength());
    std::replace(text.begin(), text.end(), '\0', '$');
    const bool isDeclared = text.compare(0, declaration.size(), declaration) == 0;
    return isDeclared ? text.substr(declaration.size()) : "without declaration: " + text;
}

TEST(XmlGenTest, CallsGiveTheirTextAndStatus)
{
    static const std::tuple<void (*)(XmlGen&), const char*, const char*> CASES[] = {
        // members
        {[](XmlGen& g) {
             g.object(nullptr).add("n", NOTHING).add("t", true).add("f", false).add("s", "x").add("i", INT_MIN);
             g.add(NO_TEXT, NO_TEXT).end();
         },
         "<n>Null</n><t>true</t><f>false</f><s>x</s><i>-2147483648</i><(null)>(null)</(null)>$", "Done"},
        // an array has no tags, its objects have its name
        {[](XmlGen& g) { g.object(nullptr).array("l").object(nullptr).end().object(nullptr).end().end().end(); },
         "<l></l><l></l>$", "Done"},
        // an array in an array passes its name on
        {[](XmlGen& g) {
             g.object(nullptr).array("l").array(nullptr).object(nullptr).end().end().end().add("x", 1).end();
         },
         "<l></l><x>1</x>$", "Done"},
        // a collection without name ends in a NUL byte
        {[](XmlGen& g) {
             g.array(nullptr).object(nullptr).add("a", 1).object("b").end().end().array(nullptr).end().end();
         },
         "<a>1</a><b></b>$$$", "Done"},
        // scalars find no name
        {[](XmlGen& g) { g.array(nullptr).add(NOTHING).add(true).add(false).add("x").add(-1).add(NO_TEXT).end(); },
         "<>Null</><>true</><>false</><>x</><>-1</><>(null)</>$", "Done"},
        // scalars take the name of what was closed at their place
        {[](XmlGen& g) { g.object(nullptr).object("a").object("b").end().end().array("l").add(1).end().end(); },
         "<a><b></b></a><b>1</b>$", "Done"},
        // closing tags of objects and names of scalars are not escaped
        {[](XmlGen& g) { g.object(nullptr).object("a\"b").add("c\\", 1).end().end().reset().array(nullptr).add(2); },
         "<a\"b>2</a\"b>", "Inside array"},
        // opening tags and those of members are
        {[](XmlGen& g) { g.object(nullptr).object("a\"b").add("c\\", "\n").end(); },
         "<a\\\"b><c\\\\>\\n</c\\\\></a\"b>", "Insided object"},
        // doubles do nothing
        {[](XmlGen& g) { g.object(nullptr).add(1.5, 2).array("l").add(1.5, 2).add("d", 1.5, 2).end(); }, "",
         "Insided object"},
        // a document of one scalar has no declaration
        {[](XmlGen& g) { g.add(5); }, "without declaration: <>5</>", "Done"},
        // names outlive the reset
        {[](XmlGen& g) { g.object(nullptr).object("a").object("b").reset().add("x"); }, "without declaration: <a>x</a>",
         "Done"},
        // but are not inherited
        {[](XmlGen& g) { g.object(nullptr).object("a").reset().array(nullptr).object(nullptr).end().add(1).end(); },
         "$<a>1</a>$", "Done"},
        // names are copies, in blocks that are used again
        {[](XmlGen& g) {
             char name[] = "name longer than a first block has", next[] = "n";
             g.object(nullptr).object("a").end().object(name).object("").end().array(next);
             name[0] = next[0] = 'x';
             g.object(nullptr).end().end().end().reset().array(nullptr).object(nullptr).end().add(1);
         },
         "$<name longer than a first block has>1</name longer than a first block has>", "Inside array"},
        // value without key
        {[](XmlGen& g) { g.object(nullptr).add(1).add("k", 1); }, "", "Expected key/value"},
        // keyed collection in an array
        {[](XmlGen& g) { g.array(nullptr).array("k"); }, "", "Unexpected key/value"},
        // end at the start
        {[](XmlGen& g) { g.end().appendIntegerToBuffer(-9); }, "without declaration: -9", "Done"},
        // list after done
        {[](XmlGen& g) { g.array(nullptr).end().array("k"); }, "$", "Unexpected data after done"},
    };
    for (const auto& [calls, text, status] : CASES) {
        XmlGen gen;
        calls(gen);
        EXPECT_EQ(bodyOf(gen), text);
        EXPECT_STREQ(gen.getStatusString(), status) << text;
    }
}

TEST(XmlGenTest, FifteenLevelsAreAllThatOpen)
{
    const std::string opening = "<a><b><c><d><e><f><g><h><i><j><k><l><m><n>";
    const std::string closing = "</n></m></l></k></j></i></h></g></f></e></d></c></b></a>$";
    for (const bool isTooDeep : {false, true}) {
        XmlGen gen;
        gen.object(nullptr);
        for (char key[] = "a"; *key < 'o'; ++*key)
            gen.object(key);
        EXPECT_EQ(gen.getDepth(), 15u);
        if (isTooDeep)
            gen.array("o");
        for (int level = 15; level > 0; --level)
            gen.end();
        EXPECT_EQ(bodyOf(gen), isTooDeep ? opening : opening + closing);
        EXPECT_STREQ(gen.getStatusString(), isTooDeep ? "Maximum object depth exceeded" : "Done");
    }
}

TEST(XmlGenFaultTest, WhatFitsIsWrittenAndOnlyTheEnclosingLevelKeepsTheError)
{
    XmlGen gen;
    gen.object(nullptr).add("a", "0123456789"); // 55 bytes of 64
    AllocationFaults faults(AllocationFaults::FAIL_ALL_LATER, 0);
    faults.during([&] { gen.object("0123456789").end().add("l", "").end(); });
    EXPECT_EQ(bodyOf(gen), "<a>0123456789</a><></>") << "all but the name";
    EXPECT_STREQ(gen.getStatusString(), "Out of memory");
    EXPECT_EQ(gen.getDepth(), 1u);
}

TEST(XmlGenFaultTest, NamesWithoutMemoryAreToldAndTheNextDocumentIsWhole)
{
    const auto write = [](XmlGen& g) {
        g.object(nullptr).object("a").array("b").object(nullptr).end().end().end().end();
    };
    sweepAllocationFailures([&](AllocationFaults& faults) {
        XmlGen gen;
        faults.during([&] { write(gen); });
        const bool isDone = bodyOf(gen) == "<a><b></b></a>$";
        EXPECT_TRUE(isDone || gen.getStatus() == XmlGen::OUT_OF_MEMORY || bodyOf(gen)[0] == 'w');
        faults.again([&] { write(gen.reset()); });
        EXPECT_EQ(bodyOf(gen), "<a><b></b></a>$");
        return isDone;
    });
}
