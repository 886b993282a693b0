#include <expat.h>

#include <fstream>
#include <stdexcept>

#include "ostrel/SAXParser.h"
#include "ostrel/XMLFileProcessor.h"
#include "ostrel/XmlStreamFilter.h"
#include "tests/support/PieceStream.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

typedef XMLParser::ParseException ParseException;

// expat takes its memory where the faults reach it.
extern "C" XML_Parser __wrap_XML_ParserCreate(const XML_Char* encoding)
{
    static const XML_Memory_Handling_Suite SUITE = {malloc, realloc, free};
    return XML_ParserCreate_MM(encoding, &SUITE, nullptr);
}
extern "C" void SAXParser_startElement(void* userData, const char* name, const char** attributes);

namespace {

/// Writes the events down; `fail` may throw in those of `failing`.
struct EventLog : SAXHandler
{
    void startElement(const std::string& name, const std::map<std::string, std::string>& attributes) override
    {
        AllocationFaults::Pause pause;
        text += "<" + name;
        for (const auto& attribute : attributes)
            text += " " + attribute.first + "=" + attribute.second;
        write(">", 's');
    }
    void endElement(const std::string& name) override
    {
        AllocationFaults::Pause pause;
        write("</" + name + ">", 'e');
    }
    void charData(const std::string& piece) override { write(piece, 't'); }
    void finished() override { write(".", 'f'); }
    bool parseError() override
    {
        write("!", 0);
        return onlyReported;
    }
    void write(const std::string& event, char kind)
    {
        AllocationFaults::Pause pause;
        text += event; // pieces of one text stand together
        if (kind != 0 && kind == failing)
            fail();
    }
    void failIn(char kind, std::function<void()> how)
    {
        failing = kind;
        fail = std::move(how);
    }

    std::string text;
    bool onlyReported = false;
    char failing = 0; ///< 's', 'e', 't' or 'f': a start, an end, a text or the document's end.
    std::function<void()> fail;
};

class SAXParserTest : public ReportTest
{
protected:
    /// All that comes of a document: its events, "{what was thrown}", "[reports]". Each piece is a block of its size.
    std::string run(SAXParser& target, const std::string& document, size_t pieceSize = 1000)
    {
        for (size_t i = 0; i < document.size(); i += pieceSize) {
            const std::string piece = document.substr(i, pieceSize);
            try {
                target.parse(std::vector<char>(piece.begin(), piece.end()).data(), static_cast<unsigned>(piece.size()));
            } catch (const ParseException& exception) {
                log.text += std::string("{") + exception.what() + "}";
            }
        }
        target.endDocument();
        for (const Report& report : takeReports())
            log.text += "[" + report.source + ":" + std::to_string(report.line) + " " + report.text + "]";
        return std::exchange(log.text, "");
    }

    EventLog log;
    SAXParser parser{log};
};

TEST_F(SAXParserTest, PiecesGiveTheEventsOfTheWhole)
{
    const char* const document =
        "<r z='1' a='&lt;2'>t\xC3\xA9xt<i k='1' l='2'/><i k='' l='3'/><i k='4'/><i/><i m='5' k='6'>"
        "&amp;<![CDATA[<x>]]>\r\n</i>\xF0\x9F\x98\x80<j long='17 bytes or more.'>17 bytes or more.</j></r>\n";
    for (const size_t pieceSize : {1000, 1, 2, 3, 7})
        EXPECT_EQ(
            run(parser, document, pieceSize),
            "<r a=<2 z=1>t\xC3\xA9xt<i k=1 l=2></i><i k= l=3></i><i "
            "k=4></i><i></i><i k=6 m=5>&<x>\n</i>\xF0\x9F\x98\x80<j long=17 bytes or more.>17 bytes or more.</j></r>.");
    const char* attributes[] = {"b", "1", "a", "2", "b", "3", nullptr};
    SAXParser_startElement(&parser, "e", attributes);
    SAXParser_startElement(&parser, "e", attributes);
    EXPECT_EQ(log.text, "<e a=2 b=1><e a=2 b=1>") << "the first of a name";
}

TEST_F(SAXParserTest, ParseExceptionOfTheHandlerStopsTheDocumentOthersWaitForTheNextFailure)
{
    const std::string caught = "caught in ostrel/SAXParser.cpp:createException}";
    struct Wordless : std::exception
    {
        const char* what() const noexcept override { return nullptr; }
    };
    const std::pair<std::function<void()>, std::string> CASES[] = {
        {[] { throw std::runtime_error("boom"); }, "{Unexpected exception boom' " + caught},
        {[] { throw Wordless(); }, "{Unexpected exception ' " + caught},
        {[] { throw 7; }, "{Unexpected exception " + caught},
        {[] { throw ParseException("enough"); }, "{enough}"},
    };
    for (const auto& c : CASES) {
        for (const char event : {'s', 'e', 't'}) {
            log.failIn(event, c.first);
            const std::string first = run(parser, "<a b='c'>text</a> ", 17); // in two pieces
            EXPECT_EQ(first == "<a b=c>text</a>.", c.second != "{enough}") << event;
            EXPECT_EQ(first.find("{enough}{enough}.[SAXParser:173 'expat error '") != std::string::npos,
                      c.second == "{enough}");
            log.failing = 0;
            EXPECT_EQ(run(parser, "<good/>"), "<good></good>.");
            EXPECT_EQ(run(parser, "<a></b>"),
                      "<a>" + c.second + ".[SAXParser:173 'expat error 'mismatched tag' on line 1']");
        }
    }
}

TEST_F(SAXParserTest, HandlerChoosesBetweenExceptionAndReportOfAMalformedDocument)
{
    EXPECT_EQ(run(parser, "<a>\n<b>\n</c>").find("<a>\n<b>\n!{Expat error 'mismatched tag' on line 3 of document}.["),
              0U);
    log.onlyReported = true;
    EXPECT_EQ(run(parser, "<a>\n<b>\n</c>").find("<a>\n<b>\n!.[SAXParser:150 expat error 'mismatched tag' on line 3]["),
              0U);
    EXPECT_EQ(run(parser, "<a"), ".[SAXParser:173 'expat error 'unclosed token' on line 1']");
    EXPECT_EQ(run(*std::make_unique<SAXParser>(SharedPtr<EventLog>(new EventLog)), "<a/>"), "") << "its own log";
    SAXParser orphan{SharedPtr<EventLog>()};
    const std::string missing = "[WeakPtr:37 test 'm_ptr' failed]", error = "expat error 'mismatched tag' on line 1";
    EXPECT_EQ(run(orphan, "<a></b>"),
              missing + missing + "[SAXParser:150 " + error + "][SAXParser:173 '" + error + "']" + missing);
}

TEST_F(SAXParserTest, ADocumentHasItsFirstMistakeUntilTheNextOneBegins)
{
    const auto judge = [this] {
        const SAXParser::Error error = parser.getError();
        return std::string(parser.isWellFormed() ? "whole " : "") + (error.text == nullptr ? "none" : error.text) +
               " " + std::to_string(error.line) + ":" + std::to_string(error.column) + " " +
               std::to_string(error.offset);
    };
    static const std::pair<const char*, const char*> CASES[] = {
        {"<a/>", "whole none 0:0 0"},
        {"<?xml version='1.0'?>\n<a>t</a>\n<!-- -->", "whole none 0:0 0"},
        {"", "no element found 1:1 0"},
        {"<a>\n  t", "no element found 2:4 7"},
        {"<a>\n<b", "unclosed token 2:1 4"},
        {"<a>\n\xC3\xA9\xC3\xA9</b></a>", "mismatched tag 2:5 10"},
        {"<a/>\n<b/>", "junk after document element 2:1 5"},
        {"<a>&b;</a>", "undefined entity 1:4 3"},
        {"<a b='1' b='2'/>", "duplicate attribute 1:10 9"},
    };
    EXPECT_EQ(judge(), "none 0:0 0") << "no document yet";
    for (const bool onlyReported : {true, false}) {
        log.onlyReported = onlyReported;
        for (const auto& [document, mistake] : CASES) {
            for (const size_t pieceSize : {1000, 1, 2, 3, 7}) {
                run(parser, document, pieceSize);
                EXPECT_EQ(judge(), mistake) << document << " in pieces of " << pieceSize;
            }
        }
    }
    log.failIn('s', [] { throw ParseException("enough"); });
    run(parser, "<a>", 2);
    EXPECT_EQ(judge().substr(0, 16), "parsing aborted ");
    log.failing = 0;
    parser.parse("<a>", 3);
    EXPECT_EQ(judge(), "none 0:0 0") << "not ended";
    EXPECT_FALSE(parser.hasRootEnded());
    parser.parse("<b/></a> ", 9);
    EXPECT_TRUE(parser.hasRootEnded());
    log.failIn('f', [] { throw ParseException("finished"); });
    EXPECT_THROW(parser.endDocument(), ParseException);
    log.failing = 0;
    parser.endDocument();
    EXPECT_EQ(judge(), "whole none 0:0 0") << "though it took two ends";
    takeReports();
}

TEST_F(SAXParserTest, WithoutMemoryTheDocumentEndsThereAndTheNextOneIsWhole)
{
    const std::string document = "<name-that-takes-a-block b='value that takes a block' c=''>t<i/>" +
                                 std::string(6000, 'x') + "<i/></name-that-takes-a-block>";
    const std::string whole = run(parser, document);
    for (const auto& [failing, onlyReported] : {std::pair('n', true), {'n', false}, {'s', true}}) {
        log.failIn(failing, [] { throw 7; });
        log.onlyReported = onlyReported;
        sweepAllocationFailures([&](AllocationFaults& faults) {
            faults.arm();
            SAXParser starved(log);
            for (size_t i = 0; i < document.size(); i += 1500) {
                try {
                    starved.parse(&document[i], static_cast<unsigned>(std::min(document.size() - i, size_t{1500})));
                } catch (const ParseException& exception) {
                    const AllocationFaults::Pause pause;
                    EXPECT_TRUE(log.failing == 's' || strstr(exception.what(), "out of memory")) << exception.what();
                }
            }
            starved.endDocument();
            faults.disarm();
            const std::string outcome = std::exchange(log.text, "");
            const size_t end = outcome.find_first_of("!.");
            EXPECT_EQ(whole.compare(0, end, outcome, 0, end), 0) << "an event is missing in the middle";
            EXPECT_EQ(outcome.find_first_not_of("!.", end), std::string::npos) << "an event after the end";
            const std::vector<Report> reports = takeReports();
            EXPECT_EQ(reports.empty(), outcome == whole);
            EXPECT_EQ(starved.isWellFormed(), outcome == whole);
            for (const Report& report : reports)
                EXPECT_TRUE(strstr(report.text.c_str(), "'out of memory'") || report.line == 179) << report.message;
            EXPECT_EQ(faults.again([&] { return run(starved, document); }), whole) << "with memory back";
            return outcome == whole;
        });
    }
}

/// Writes down the lengths of the pieces between "start" and "end", then the text.
struct CallLog : XMLParser
{
    void startDocument() override
    {
        calls = "start";
        text = "";
    }
    void parse(const char* data, unsigned int length) override
    {
        calls += " " + std::to_string(length);
        if (text.append(data, length).size() == throwAt)
            throw ParseException("enough");
    }
    void endDocument() override { calls += " end"; }

    std::string calls, text;
    size_t throwAt = 9999;
};

/// Has an error text after one of its reads, until the next one.
struct ErrorStream : PieceStream
{
    using PieceStream::PieceStream;
    const char* getErrorString() const override { return asked.size() == failingRead ? "broken" : nullptr; }
    size_t failingRead = 0;
};

struct XmlFeederTest : ReportTest
{
    const std::string text = std::string(4096, 'a') + std::string(4096, 'b') + "c";
    CallLog* const log = new CallLog;
    const SharedPtr<XMLParser> parser{log};
};

TEST_F(XmlFeederTest, FileIsReadInBlocksOf1024)
{
    const std::string path = testing::TempDir() + "XmlFeederTest.xml";
    const std::pair<size_t, const char*> CASES[] = {
        {0, "start 0 end"},         {1, "start 1 end"},         {1023, "start 1023 end"},
        {1024, "start 1024 0 end"}, {1025, "start 1024 1 end"}, {4096, "start 1024 1024 1024 1024 0 end"}};
    for (const auto& c : CASES) {
        const std::string content = text.substr(text.size() - c.first);
        std::ofstream(path, std::ios::binary) << content;
        XMLFileProcessor(path, parser).start();
        EXPECT_EQ(log->calls + log->text, c.second + content);
    }
    log->calls = "";
    AllocationFaults faults(AllocationFaults::FAIL_ONE, 0);
    XMLFileProcessor starved = faults.during([&] { return XMLFileProcessor(path, parser); });
    expectFailedCheck(Severity::RECOVERABLE, "XMLFileProcessor", 20, "bool(m_input)");
    starved.start();
    EXPECT_EQ(log->calls, "");
    XMLFileProcessor(path, nullptr).start();
    for (int call = 0; call < 7; ++call)
        expectFailedCheck(Severity::FATAL, "SharedPtr", 180, "m_ptr");
    remove(path.c_str());
    XMLFileProcessor(path, nullptr).start();
    expectFailedCheck(Severity::RECOVERABLE, "XMLFileProcessor", 20, "bool(m_input)");
}

TEST_F(XmlFeederTest, EveryByteOfAStreamArrivesOnceAndAFailureIsTold)
{
    enum Outcome { DELIVERED = 0, FAILED = -1, THROWN = 1 };
    const std::vector<unsigned int> WHOLE = {9999};
    const size_t NOWHERE = 9999;
    // The pieces, what a read at the end gives, which read fails, where the parser throws, the outcome, the calls.
    const std::tuple<std::vector<unsigned int>, int, size_t, size_t, Outcome, const char*> CASES[] = {
        {WHOLE, 0, 0, NOWHERE, DELIVERED, "start 4096 4096 1 end"},
        {{4095, 1, 5000}, 0, 0, NOWHERE, DELIVERED, "start 4095 1 4096 1 end"},
        {WHOLE, -1, 0, NOWHERE, FAILED, "start 4096 4096 1 end"},
        {WHOLE, 0, 2, NOWHERE, DELIVERED, "start 4096 4096 1 end"},
        {WHOLE, 0, 4, NOWHERE, FAILED, "start 4096 4096 1 end"},
        {WHOLE, 0, 0, 8192, THROWN, "start 4096 4096"},
        {{4096, 100}, 0, 2, NOWHERE, FAILED, "start 4096 100 end"}};
    for (const auto& [pieces, resultAtEnd, failingRead, throwAt, result, calls] : CASES) {
        log->throwAt = throwAt;
        ErrorStream stream(text, pieces, resultAtEnd);
        stream.failingRead = failingRead;
        int outcome = THROWN;
        try {
            outcome = XmlStreamFilter(stream, parser).start();
        } catch (const ParseException&) {
        }
        EXPECT_EQ(outcome, result);
        EXPECT_EQ(log->calls + log->text + stream.getRest(), calls + text);
    }
    EXPECT_EQ(XmlStreamFilter(nullptr, parser).start(), -1);
    EXPECT_EQ(XmlStreamFilter(std::make_unique<PieceStream>(text), nullptr).start(), -1);
    for (int filter = 0; filter < 2; ++filter)
        expectFailedCheck(Severity::FATAL, "WeakPtr", 37, "m_ptr");
}

TEST_F(XmlFeederTest, AFilterRefusesWhatIsNotWholeAndStopsAtTheRootsEnd)
{
    const unsigned int REFUSE = XmlStreamFilter::REFUSE_MALFORMED;
    const unsigned int STOP = XmlStreamFilter::STOP_AT_ROOT_END;
    const std::string large = "<a>" + std::string(16379, 'x') + "</a>";
    const std::string huge = "<a b='" + std::string(9000, '/') + "'/>";
    // The stream, the options, the result, the events, and what is left.
    const std::tuple<std::string, unsigned int, int, std::string, const char*> CASES[] = {
        {"<a>t</a>", REFUSE, 0, "<a>t</a>.", ""},
        {"<a>t</a><b/>", 0, 0, "<a>t</a>!!.", ""},
        {"<a>t</a><b/>", REFUSE, -1, "<a>t</a>!!.", ""},
        {"<a>t", REFUSE, -1, "<a>t.", ""},
        {"", REFUSE, -1, ".", ""},
        {" <?x /> ?><a><b/>t</a><b/>", STOP | REFUSE, 0, "<a><b></b>t</a>.", "<b/>"},
        {"<!DOCTYPE a [<!ENTITY e '<b></b>'>]><a>&e;</a>x", STOP | REFUSE, 0, "<a><b></b></a>.", "x"},
        {"<a b='x>y'/>\n\n", STOP, 0, "<a b=x>y></a>.", "\n\n"},
        {"<!--</a>--><a b='/>'></a>x", STOP | REFUSE, 0, "<a b=/>></a>.", "x"},
        {"<a b='></a>x", STOP, 0, "!.", "/a>x"},
        {large + "<a/>", STOP | REFUSE, 0, large + ".", "<a/>"},
        {huge + "<a/>", STOP | REFUSE, 0, "<a b=" + std::string(9000, '/') + "></a>.", "<a/>"},
        {"<a></b></a>", STOP, 0, "<a>!.", "</a>"},
        {"<a></b></a>", STOP | REFUSE, -1, "<a>!.", "</a>"},
        {"<a>t", STOP, 0, "<a>t.", ""},
        {"<a>t", STOP | REFUSE, -1, "<a>t.", ""}};
    for (const auto& [document, options, result, events, rest] : CASES) {
        SCOPED_TRACE(document.substr(0, 60));
        EventLog handler;
        handler.onlyReported = true;
        SAXParser sax(handler);
        PieceStream stream(document, {7});
        EXPECT_EQ(XmlStreamFilter(stream, sax, options).start(), result);
        EXPECT_EQ(stream.getRest(), rest);
        const size_t shown = std::min(handler.text.find('!'), events.find('!'));
        EXPECT_EQ(handler.text.substr(0, shown), events.substr(0, shown));
        takeReports();
    }
    EventLog handler;
    SAXParser sax(handler);
    EXPECT_EQ(XmlStreamFilter(nullptr, sax, STOP).start(), -1);
    expectFailedCheck(Severity::FATAL, "WeakPtr", 37, "m_ptr");
    ErrorStream failing("<a><b></b>");
    failing.failingRead = 11;
    EXPECT_EQ(XmlStreamFilter(failing, sax, STOP).start(), -1);
    EXPECT_EQ(handler.text, "<a><b></b>.");
    takeReports();
    // Of markup that is given in part, some versions of expat wait for much more than the rest.
    struct : SAXParser
    {
        using SAXParser::SAXParser;
        void parse(const char* data, unsigned int length) override
        {
            pieces.emplace_back(data, length);
            SAXParser::parse(data, length);
        }
        std::vector<std::string> pieces;
    } recorder{WeakPtr<SAXHandler>(handler)};
    EXPECT_EQ(XmlStreamFilter(std::make_unique<PieceStream>(large), recorder, STOP).start(), 0);
    EXPECT_EQ(recorder.pieces, (std::vector<std::string>{large.substr(0, large.size() - 4), "</a>"}));
}

} // namespace
