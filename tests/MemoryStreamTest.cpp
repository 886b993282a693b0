#include <climits>
#include <string>

#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/ByteArrayOutputStream.h"
#include "gtest/gtest.h"

using Ostrel::ByteArrayInputStream;
using Ostrel::ByteArrayOutputStream;

namespace {

const unsigned char* bytes(const char* text)
{
    return reinterpret_cast<const unsigned char*>(text);
}

} // namespace

TEST(ByteArrayInputStreamTest, DeliversTheDataOnceAndWithoutTheTerminator)
{
    unsigned char buffer[4] = {'-', '-', '-', '-'};
    ByteArrayInputStream in("abc");
    EXPECT_EQ(in.read(buffer, 0), 0);
    EXPECT_EQ(in.read(buffer, 2), 2);
    EXPECT_EQ(in.read(buffer + 2, 2), 1);
    EXPECT_EQ(in.read(buffer, 2), 0);
    EXPECT_EQ(in.read(buffer, UINT_MAX), 0);
    EXPECT_EQ(std::string(buffer, buffer + 4), "abc-");
    EXPECT_EQ(in.getErrorString(), nullptr);
}

TEST(ByteArrayInputStreamTest, CountsZeroBytesByLengthAndTakesNullForEmpty)
{
    unsigned char buffer[4];
    ByteArrayInputStream binary(bytes("a\0b"), 3);
    EXPECT_EQ(binary.read(buffer, sizeof(buffer)), 3);
    EXPECT_EQ(std::string(buffer, buffer + 3), std::string("a\0b", 3));

    ByteArrayInputStream noText(nullptr);
    ByteArrayInputStream noData(nullptr, 7);
    EXPECT_EQ(noText.read(buffer, sizeof(buffer)), 0);
    EXPECT_EQ(noData.read(buffer, sizeof(buffer)), 0);
}

TEST(ByteArrayOutputStreamTest, TakesAPieceWholeOrNotAtAll)
{
    struct Case
    {
        const char* data;
        unsigned int size;
        int result;
        const char* error;
        const char* storage;
    };
    static const Case CASES[] = {
        {"0123456789a", 11, -1, "OutputStream storage too small", "__________"},
        {"0123", 4, 4, "Ok", "0123______"},
        {"4567890", 7, -1, "OutputStream storage too small", "0123______"},
        {"456789", UINT_MAX, -1, "OutputStream storage too small", "0123______"}, // a sum would wrap
        {"456789", 6, 6, "Ok", "0123456789"},
        {"x", 1, -1, "OutputStream storage too small", "0123456789"},
        {nullptr, 0, 0, "Ok", "0123456789"},
    };
    char storage[] = "__________|"; // with a guard behind the ten
    ByteArrayOutputStream out(reinterpret_cast<unsigned char*>(storage), 10);
    EXPECT_STREQ(out.getErrorString(), "Ok");
    for (const Case& c : CASES) {
        SCOPED_TRACE(testing::Message() << c.size << " bytes");
        EXPECT_EQ(out.write(bytes(c.data), c.size), c.result);
        EXPECT_STREQ(out.getErrorString(), c.error);
        EXPECT_EQ(storage, std::string(c.storage) + "|");
    }
    EXPECT_EQ(out.flush(), 0);
}

TEST(ByteArrayOutputStreamTest, ResetStartsAgainWithoutTheError)
{
    unsigned char first[1];
    unsigned char second[] = "__";
    ByteArrayOutputStream out(first, 1);
    EXPECT_EQ(out.write(bytes("ab"), 2), -1);
    out.reset(second, 2);
    EXPECT_STREQ(out.getErrorString(), "Ok");
    EXPECT_EQ(out.write(bytes("ab"), 2), 2);
    EXPECT_STREQ(reinterpret_cast<char*>(second), "ab");
    out.reset(nullptr, 0);
    EXPECT_EQ(out.write(nullptr, 0), 0);
    EXPECT_EQ(out.write(bytes("a"), 1), -1);
}
