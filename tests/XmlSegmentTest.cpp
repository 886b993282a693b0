#include "ostrel/XmlSegment.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "tests/support/GuardedBuffer.h"

using Ostrel::findTagMarker;
using Ostrel::XmlSegment;

namespace {

/// All that `next` tells of what came: each element as "position:text ", else a word; at the end "." between elements.
std::string drain(XmlSegment& segment)
{
    static const char* const WORDS[] = {":", "", "too large ", "between ", "encoding "};
    std::string log;
    const char* element;
    unsigned int length;
    for (int code; (code = segment.next(element, length)) != XmlSegment::RC_NEED_MORE;) {
        log += std::to_string(segment.getPosition()) + WORDS[code];
        if (code == XmlSegment::RC_OK)
            log += std::string(element, length) + " ";
    }
    return log;
}

std::string cutInPieces(XmlSegment& segment, const std::string& input, size_t pieceSize)
{
    std::string log;
    for (size_t done = 0; done < input.size();) {
        const std::string piece = input.substr(done, pieceSize);
        const std::vector<char> bytes(piece.begin(), piece.end()); // reading behind its end is noticed
        done += segment.feed(bytes.data(), static_cast<unsigned int>(bytes.size()));
        log += drain(segment);
    }
    return log + (segment.isBetweenElements() ? "." : "");
}

/// The same for every way to cut the input into pieces, with nothing written outside of the buffer.
std::string cut(const std::string& input, unsigned int size, const char* name, XmlSegment::Between between)
{
    std::string first;
    for (const size_t pieceSize : {size_t{1}, size_t{2}, size_t{3}, size_t{7}, input.size() + 1}) {
        GuardedBuffer buffer(size);
        XmlSegment segment(reinterpret_cast<char*>(buffer.data()), size, name, between);
        const std::string log = cutInPieces(segment, input, pieceSize);
        first = pieceSize == 1 ? log : first;
        EXPECT_EQ(log, first) << "in pieces of " << pieceSize;
        EXPECT_TRUE(buffer.areGuardsIntact());
    }
    return first;
}

TEST(FindTagMarkerTest, WhatIsNoTagOfThatNameIsPassedOver)
{
    struct Case
    {
        const char* text; ///< The tag begins at the '^', which is taken out, and ends with the text.
        const char* name;
    };
    static const Case CASES[] = {
        {"text ^<a>", "a"},
        {"<ab/><x:a/></aa><A>^<a\n>", "a"},
        {"<abc><a>^</ab \t>", "ab"},
        {"<!-- -><a> - -><a> -- ><a> <a>--->^<a/>", "a"},
        {"<![CDATA[ ]><a> ] ]><a> ]] ><a> <a>]]]>^<a b='/>' c=\"'>\"/>", nullptr},
        {"<?p ><a> ? ><a>?"
         "?><?xml?>^<a>",
         "a"},
        {"<!DOCTYPE r SYSTEM '><a>[' [<!ENTITY e \"]><a>'\"> %p; <!-- ' ]><a> --><?q \" ]><a>?><!ELEMENT r "
         "ANY>]\n>^<r>",
         nullptr},
        {"<!DOCTYPE r [<![IGNORE[ ]]>]>^<r>", nullptr},
        {"1 < 2 << 3 <4> </ x> <//y> </> </!-- ^<\xC3\xA9>", nullptr},
        {"<broken '<a>' <![CDATA <!- <!x ^<a x>", "a"},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.text);
        std::string text = c.text;
        const size_t expected = text.find('^');
        text.erase(expected, 1);
        for (size_t length = 0; length < text.size(); ++length) {
            const std::vector<char> bytes(text.begin(), text.begin() + static_cast<ptrdiff_t>(length));
            const char* const marker = findTagMarker(bytes.data(), static_cast<unsigned int>(length), c.name);
            EXPECT_EQ(marker, nullptr) << "before the tag is complete";
        }
        EXPECT_EQ(findTagMarker(text.data(), static_cast<unsigned int>(text.size()), c.name) - text.data(),
                  static_cast<ptrdiff_t>(expected));
    }
    EXPECT_EQ(findTagMarker("<a\0>", 4, "a\0"), nullptr) << "a NUL does not match the end of the name";
}

TEST(XmlSegmentTest, ElementsComeAsTheirNameAndWhatLiesBetweenSay)
{
    struct Case
    {
        const char* input;
        const char* name;
        XmlSegment::Between between;
        const char* log;
    };
    static const Case CASES[] = {
        {"<a/> <b>x<b/></b>\n<a></a>", nullptr, XmlSegment::SKIP, "0:<a/> 5:<b>x<b/></b> 18:<a></a> ."},
        {"<s><i><i/><j><i></i></j></i >x</i><i/><i>", "i", XmlSegment::SKIP, "3:<i><i/><j><i></i></j></i > 34:<i/> "},
        {"<r><![CDATA[</r>]]><!-- </r> --><?p </r>?><e a='</r>'/></r>", "r", XmlSegment::SKIP,
         "0:<r><![CDATA[</r>]]><!-- </r> --><?p </r>?><e a='</r>'/></r> ."},
        {"<a", nullptr, XmlSegment::SKIP, ""},
        {"\r\n", nullptr, XmlSegment::REFUSE, "."},
        {"x<!--<a/>--></b><a/> <!--", nullptr, XmlSegment::SKIP, "16:<a/> "},
        {"\xEF\xBB\xBF <?xml version='1.0'?><!DOCTYPE a [<!ENTITY b '<c>'>]> <!-- --><a><![CDATA[]]></a> x y<a/></z>",
         nullptr, XmlSegment::REFUSE, "66:<a><![CDATA[]]></a> 86between 89:<a/> 93between ."},
        {"<b/><c/><a><b/></a><![CDATA[]]></a><a/> < ", "a", XmlSegment::REFUSE,
         "0between 8:<a><b/></a> 19between 35:<a/> 40between ."},
        {" <!----><?xml-x?><a/><!-- 1 --> <?xml version='1.0'?><b/>x<c/><d/><!-- 2 -->", nullptr, XmlSegment::KEEP,
         "1:<!----><?xml-x?><a/> 32:<?xml version='1.0'?><b/> 57:x<c/> 62:<d/> ."},
        {"<s>1<r/>2 <r/></s>", "r", XmlSegment::KEEP, "0:<s>1<r/> 8:2 <r/> ."},
    };
    for (const Case& c : CASES)
        EXPECT_EQ(cut(c.input, 200, c.name, c.between), c.log) << c.input;
}

TEST(XmlSegmentTest, ElementThatDoesNotFitIsRefusedAndSkippedToItsEnd)
{
    const std::string noise(100, ' ');
    const std::string input = noise + "<!-- " + noise + "--><a>45678</a>" + noise + "<b c='" + noise + "'/><a/>";
    const std::string tail = input.substr(320, 109) + " 429:<a/> .";
    EXPECT_EQ(cut(input, 12, "a", XmlSegment::SKIP), "208:<a>45678</a> 429:<a/> .") << "others need no room";
    EXPECT_EQ(cut(input, 13, nullptr, XmlSegment::SKIP), "208:<a>45678</a> 320too large 429:<a/> .");
    EXPECT_EQ(cut(input, 11, nullptr, XmlSegment::REFUSE), "208too large 320too large 429:<a/> .");
    EXPECT_EQ(cut(input, 120, nullptr, XmlSegment::KEEP), "100:" + input.substr(100, 120) + " 320:" + tail);
    EXPECT_EQ(cut(input, 119, nullptr, XmlSegment::KEEP), "100too large 320:" + tail);
    EXPECT_EQ(cut("<a><a/></a><a/>", 4, nullptr, XmlSegment::SKIP), "0too large 11:<a/> .");
    EXPECT_EQ(cut("<a bcdefg <b/>", 8, nullptr, XmlSegment::SKIP), "0too large 10:<b/> .") << "it was no tag";
    char small[3];
    XmlSegment segment(small, sizeof(small));
    EXPECT_EQ(segment.feed("<a/>", 4), 0U);
}

TEST(XmlSegmentTest, RandomStreamsGiveTheElementsTheyAreMadeOf)
{
    static const char* const INSIDE[] = {
        "text",     "<i/>",    "<r x='>'/>", "<!--</r>-->", "<![CDATA[<r>]]>",      "<?p </r>?>",
        "\xC3\xA9", "<r></r>", "<ra>",       "</ra>",       "<r a=\"'/>\" >x</r\t>"};
    static const char* const OUTSIDE[] = {"text", "<!--<r>-->", "<o>", "</o>", " ", "<?r <r>?>", "<![CDATA[<r/>]]>"};
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        const unsigned int size = 8 + random() % 60;
        std::string input;
        std::string expected;
        for (unsigned int count = random() % 20; count > 0; --count) {
            for (unsigned int i = random() % 4; i > 0; --i)
                input += OUTSIDE[random() % std::size(OUTSIDE)];
            std::string element = "<r>";
            for (unsigned int i = random() % 6; i > 0; --i)
                element += INSIDE[random() % std::size(INSIDE)];
            element += "</r>";
            const bool fits = element.size() <= size;
            expected += std::to_string(input.size()) + (fits ? ":" + element + " " : "too large ");
            input += element;
        }
        EXPECT_EQ(cut(input + "     ", size, "r", XmlSegment::SKIP), expected + ".") << input;
    }
}

TEST(XmlSegmentTest, EncodingIsKnownByTheFirstBytes)
{
    struct Case
    {
        std::string input;
        const char* log;
    };
    using namespace std::string_literals; // NOLINT(google-build-using-namespace): for NUL bytes
    const Case CASES[] = {
        {"\xEF\xBB\xBF<a/>", "3:<a/> ."},
        {"\xE9<a/>", "1:<a/> ."},
        {"Lo<a/>", "2:<a/> ."},
        {"\xFE\xFF\0<\0a\0/\0>"s, "0encoding "},
        {"\xFF\xFE<\0a\0/\0>\0"s, "0encoding "},
        {"\0<\0a\0/\0>"s, "0encoding "},
        {"<\0a\0/\0>\0"s, "0encoding "},
        {"\0\0\0<\0\0\0a"s, "0encoding "},
        {"\0\0\xFE\xFF\0\0\0<"s, "0encoding "},
        {"\x4C\x6F\xA7\x94\x93", "0encoding "},
    };
    for (const Case& c : CASES) {
        char buffer[8];
        XmlSegment segment(buffer, sizeof(buffer));
        std::string log;
        for (const char byte : c.input) {
            EXPECT_EQ(segment.feed(&byte, 1), 1U);
            const std::string more = drain(segment);
            log = more == "0encoding " ? more : log + more; // told again with each byte
        }
        EXPECT_EQ(log + (segment.isBetweenElements() ? "." : ""), c.log);
    }
}

TEST(XmlSegmentTest, BytesAreReadStraightIntoTheBuffer)
{
    char buffer[16];
    XmlSegment segment(buffer, sizeof(buffer));
    unsigned int room;
    memcpy(segment.getFreeSpace(room), "<a/><b></b><c></", sizeof(buffer));
    segment.commit(room + 1);
    EXPECT_EQ(segment.getFreeSpace(room), nullptr) << "and nothing is moved while bytes wait";
    const char* element;
    unsigned int length;
    EXPECT_EQ(segment.next(element, length), XmlSegment::RC_OK);
    EXPECT_EQ(element, buffer);
    EXPECT_EQ(segment.getFreeSpace(room), nullptr);
    EXPECT_EQ(drain(segment), "4:<b></b> ");
    EXPECT_EQ(segment.getFreeSpace(room), buffer + 5);
    EXPECT_EQ(room, 11U);
    EXPECT_EQ(segment.feed("c>", 2), 2U);
    EXPECT_EQ(drain(segment), "11:<c></c> ");
}

} // namespace
