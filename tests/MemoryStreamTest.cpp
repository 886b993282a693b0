#include <climits>

#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/ByteArrayOutputStream.h"
#include "tests/support/PipeTest.h"

using Ostrel::ByteArrayInputStream;
using Ostrel::ByteArrayOutputStream;

TEST(ByteArrayInputStreamTest, DeliversTheDataOnceAndWithoutTheTerminator)
{
    ByteArrayInputStream text("abc");
    EXPECT_EQ(readText(text, 0), "");
    EXPECT_EQ(readText(text, 2), "ab");
    EXPECT_EQ(readText(text, 2), "c");
    EXPECT_EQ(readText(text, UINT_MAX), "");
    EXPECT_EQ(text.getErrorString(), nullptr);

    ByteArrayInputStream binary(bytes("a\0b"), 3);
    EXPECT_EQ(readText(binary, 9), std::string("a\0b", 3));
    ByteArrayInputStream noText(nullptr);
    EXPECT_EQ(readText(noText, 9), "");
    ByteArrayInputStream noData(nullptr, 7);
    EXPECT_EQ(readText(noData, 9), "");
}

TEST(ByteArrayOutputStreamTest, TakesAPieceWholeOrNotAtAll)
{
    struct Case
    {
        const char* data;
        unsigned int size;
        bool fits;
        const char* storage;
    };
    static const Case CASES[] = {
        {"0123456789a", 11, false, "__________|"}, {"0123", 4, true, "0123______|"},
        {"4567890", 7, false, "0123______|"},      {"456789", UINT_MAX, false, "0123______|"}, // a sum would wrap
        {"456789", 6, true, "0123456789|"},        {"x", 1, false, "0123456789|"},
        {nullptr, 0, true, "0123456789|"},
    };
    char storage[] = "__________|"; // with a guard behind the ten
    unsigned char* const begin = reinterpret_cast<unsigned char*>(storage);
    ByteArrayOutputStream out(begin, 10);
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.size);
        EXPECT_EQ(out.write(bytes(c.data), c.size), c.fits ? static_cast<int>(c.size) : -1);
        EXPECT_STREQ(out.getErrorString(), c.fits ? "Ok" : "OutputStream storage too small");
        EXPECT_STREQ(storage, c.storage);
    }
    EXPECT_EQ(out.write(bytes("x"), 1), -1);
    out.reset(begin + 2, 1);
    EXPECT_STREQ(out.getErrorString(), "Ok");
    EXPECT_EQ(out.write(bytes("xy"), 2), -1);
    EXPECT_EQ(out.write(bytes("x"), 1), 1);
    EXPECT_STREQ(storage, "01x3456789|");
}
