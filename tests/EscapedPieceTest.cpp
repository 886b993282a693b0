#include "json/JsonGen.h"
#include "tests/support/TestIncludes.h"
#include "xml/XmlGen.h"

/// Escapes byte by byte. Where controls are dropped, blanks at the end stand for them.
static std::string escapeSlowly(const std::string& text, const std::string& letters, bool dropsControls)
{
    std::string written, dropped;
    for (const char byte : text) {
        const size_t letter = std::string("\"\\\b\t\n\f\r/").find(byte);
        if (letter < letters.size())
            written += {'\\', letters[letter]};
        else if (dropsControls && (static_cast<unsigned char>(byte) < 32 || byte == 127))
            dropped += ' ';
        else
            written += byte;
    }
    return written + dropped;
}

TEST(EscapedPieceTest, TextsAreEscapedAsByteByByte)
{
    std::mt19937 random(2);
    static const char COMMON[] = "abc \"/\\\x01\x1f\x7f\x80\xff\n\t.!#0[]";
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 70, 'x');
        for (unsigned int specials = random() % 4; specials > 0 && !text.empty(); --specials) {
            text[random() % text.size()] =
                random() % 2 == 0 ? COMMON[random() % (sizeof(COMMON) - 1)] : static_cast<char>(1 + random() % 255);
        }
        const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1); // nothing readable behind it
        json::JsonGen json;
        xml::XmlGen xml;
        ASSERT_EQ(json.appendEscapedStringToBuffer(exact.data()).nullTerminate().getData(),
                  escapeSlowly(text, "\"\\btnfr/", true));
        ASSERT_EQ(xml.appendEscapedStringToBuffer(exact.data()).nullTerminate().getData(),
                  escapeSlowly(text, "\"\\btnfr", false));
    }
}
