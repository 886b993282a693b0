#include <gtest/gtest.h>

#include "ostrel/Deserializer.h"
#include "ostrel/StructBuilder.h"
#include "tests/support/LogBuilder.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

namespace {

/// Knows only 32-bit integers, as the XML side does.
class NarrowBuilder : public LogBuilder
{
public:
    using LogBuilder::add;
    StructBuilder& add(const char* key, long long value) override { return StructBuilder::add(key, value); }
    StructBuilder& add(long long value) override { return StructBuilder::add(value); }
};

class NarrowHandler : public Deserializer::Handler
{
public:
    using Handler::onInteger;
    void onInteger(WeakPtr<Deserializer>, const char*, int value) override { last = value; }

    int last = 0;
};

} // namespace

TEST(SerializationInterfacesTest, WideIntegersNarrowToTheirLowBits)
{
    NarrowBuilder builder;
    StructBuilder& chain = builder;
    chain.add(4294967297LL).add("k", 4294967297LL).add(-1LL).add("k", -4294967296LL);
    EXPECT_EQ(builder.text, "I1 k:I1 I-1 k:I0 ");

    NarrowHandler handler;
    Deserializer::Handler& base = handler;
    base.onInteger(nullptr, nullptr, (1LL << 32) + 7);
    EXPECT_EQ(handler.last, 7);
    base.onInteger(nullptr, nullptr, -1LL);
    EXPECT_EQ(handler.last, -1);
    EXPECT_EQ(base.arrayStart(nullptr, "k"), nullptr);
    EXPECT_EQ(base.objectStart(nullptr, "k"), nullptr);
}
