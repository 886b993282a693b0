#include "ostrel/DataObjectSaxHandler.h"

#include "tests/support/LogBuilder.h"
#include "tests/support/ReportTest.h"
#include "xml/XmlSerializer.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

class DataObjectSaxHandlerTest : public ReportTest
{
protected:
    static std::string getTree(const DataObjectSaxHandler& handler) { return describe(handler.getRoot().get()); }
    void feed(const std::string& document, size_t pieceSize = 4096)
    {
        for (size_t i = 0; i < document.size(); i += pieceSize) {
            const std::string piece = document.substr(i, pieceSize);
            _parser.parse(piece.data(), static_cast<unsigned int>(piece.size()));
        }
        _parser.endDocument();
    }
    /// A letter starts an element of that name, a capital one with attributes; a digit is text, a slash ends an
    /// element.
    static void play(SAXHandler& handler, const std::string& events)
    {
        for (const char event : events) {
            if (event == '/')
                handler.endElement("any");
            else if (event >= 'A')
                handler.startElement(std::string(1, event), event < 'a' ? SOME : NONE);
            else
                handler.charData(std::string(1, event));
        }
    }

    static inline const std::map<std::string, std::string> NONE, SOME = {{"x", "5"}, {"y", "6"}};
    DataObjectSaxHandler _handler;
    SAXParser _parser{_handler};
};

TEST_F(DataObjectSaxHandlerTest, DocumentsBecomeTreesWhateverTheirPieces)
{
    static const char* const CASES[][2] = {
        {"<a>x<b>y</b>z</a>", "{a:{b:{cdata:s(xy) } cdata:s(z) } } "},
        {"<a> <b/> x <c/> \t\r\n</a>", "{a:{b:{} c:{cdata:s(x) } } } "},
        {"<a>\n x \n y\t</a>", "{a:{cdata:s(x \n y) } } "},
        {"<\xC3\xA9 b='\xC3\x9F'>&#233;\xE2\x82\xAC<![CDATA[<\xF0\x9F\x98\x80 ]]></\xC3\xA9>",
         "{\xC3\xA9:{b:s(\xC3\x9F) cdata:s(\xC3\xA9\xE2\x82\xAC<\xF0\x9F\x98\x80) } } "},
        {"<a CData='1'><b/>2</a>", "{a:{b:{} CData:s(2) } } "},
        {"<a><cdata b='1'/>2</a>", "{a:{cdata:s(2) } } "},
        {"<a id='2' ID='1'/>", "{a:{ID:s(2) } } "}, // ascending by byte, so the capitals come first
        {"<a><b c='1'>2</b><B d='3'/></a>", "{a:{b:{d:s(3) } } } "},
    };
    for (const auto& c : CASES) {
        for (const size_t pieceSize : {4096, 1, 2, 3, 7}) {
            feed(c[0], pieceSize);
            EXPECT_EQ(getTree(_handler), c[1]) << c[0] << " in pieces of " << pieceSize;
        }
    }
}

TEST_F(DataObjectSaxHandlerTest, EndTagsOfRefusedElementsEndOthers)
{
    // Fifteen levels, and a sibling behind each but the outermost.
    std::string tree = "o:{cdata:s(1) } ";
    for (char name = 'n'; name >= 'a'; --name)
        tree = name + (":{" + tree + "z:{} } ");
    const std::string expected[] = {"{" + tree + "} ", "{" + tree + "z:{} } ", "{z:{} } "};
    for (unsigned int refused = 0; refused < 3; ++refused) {
        play(_handler, std::string("abcdefghijklmnopq").substr(0, 15 + refused));
        for (unsigned int i = 0; i < refused; ++i)
            expectReport(Severity::RECOVERABLE, "DataObjectSaxHandler", 21, "'Error: stack too shallow to handle XML'");
        std::string ends = "1";
        for (unsigned int i = 0; i < 14 + refused; ++i)
            ends += "/z/";
        // Where an element was refused, the last end is the root's.
        play(_handler, ends + (refused == 0 ? "//" : "/"));
        EXPECT_EQ(getTree(_handler), expected[refused]);
        expectNoReports();
        play(_handler, "2/a/"); // the text waits for an end that has an element
        expectFailedCheck(Severity::RECOVERABLE, "DataObjectSaxHandler", 47, "_top >= 0");
        EXPECT_EQ(getTree(_handler), "{a:{cdata:s(2) } } ");
        _handler.finished();
    }
}

TEST_F(DataObjectSaxHandlerTest, BrokenDocumentsLeaveTheirTextToTheNextOne)
{
    feed("<a>left <b>");
    expectReport(Severity::RECOVERABLE, "SAXParser", 173, "'expat error 'no element found' on line 1'");
    EXPECT_EQ(getTree(_handler), "{a:{b:{} } } ");
    const SharedPtr<DataObject> kept = _handler.getRoot();
    _handler.reset();
    EXPECT_EQ(getTree(_handler), "{} ");
    feed("<c>by <d/>the first end</c>");
    EXPECT_EQ(getTree(_handler), "{c:{cdata:s(the first end) d:{cdata:s(left by) } } } ");
    EXPECT_TRUE(kept->get("a").has("b"));
}

TEST_F(DataObjectSaxHandlerTest, TextGrowsAndIsCutAsADynamicStringByItself)
{
    std::string accents;
    for (int i = 0; i < 100000; ++i)
        accents += "\xC3\xA9";
    // The storage of before grows by all of a piece or not at all, and a character is not cut.
    const std::vector<std::string> CASES[] = {
        {"", "1", accents, accents.substr(0, 62140), "23", "4", accents, "\xC3\xA9", "5"},
        {"1", accents, accents, "2", "", "3"},
        {accents + "1", accents.substr(0, 40000), accents},
    };
    for (const std::vector<std::string>& pieces : CASES) {
        DynamicString expected;
        DataObjectSaxHandler handler;
        play(handler, "a");
        for (const std::string& piece : pieces) {
            expected.growAndAppend(piece.c_str());
            const std::vector<Report> reports = takeReports();
            handler.charData(piece);
            for (const Report& report : reports)
                expectReport(report.severity, "DynamicString", report.line, report.text.c_str());
        }
        play(handler, "/");
        EXPECT_STREQ(handler.getRoot()->get("a").get("cdata").toString(""), expected.getData());
        expectNoReports();
    }
}

TEST_F(DataObjectSaxHandlerTest, RefusedMemoryLeavesGapsInThatDocumentOnly)
{
    const std::string events = "A1b2/3/";
    const std::string expected = "{A:{b:{cdata:s(12) } cdata:s(3) x:s(5) y:s(6) } } ";
    sweepAllocationFailures([&](AllocationFaults& faults) {
        DataObjectSaxHandler handler;
        faults.during([&] { play(handler, events); });
        const bool isComplete = getTree(handler) == expected;
        EXPECT_NE(takeReports().empty(), !isComplete); // of failed copies, and of entries that are missing
        handler.finished();
        faults.again([&] { play(handler, events); });
        EXPECT_EQ(getTree(handler), expected);
        return isComplete;
    });
}

TEST_F(DataObjectSaxHandlerTest, WrittenTreesComeBackAsMapsAndTexts)
{
    xml::XmlSerializer serializer;
    DataObject::parse("{'settings': {'host': 'gateway', 'log': {'file': 'a.log', 'level': 3}}}")->serialize(serializer);
    ASSERT_TRUE(serializer.isOk());
    feed(std::string(serializer.getData(), serializer.getDataLength() - 1)); // without the NUL, which is no XML
    EXPECT_EQ(getTree(_handler),
              "{settings:{host:{cdata:s(gateway) } log:{file:{cdata:s(a.log) } level:{cdata:s(3) } } } } ");
}
