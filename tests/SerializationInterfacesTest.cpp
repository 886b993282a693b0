#include <gtest/gtest.h>

#include <string>

#include "ostrel/CreateMixins.h"
#include "ostrel/Deserializer.h"
#include "ostrel/StructBuilder.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

namespace {

/// Knows only 32-bit integers, as the XML side does.
class NarrowBuilder : public StructBuilder
{
public:
    using StructBuilder::add;

    const char* getErrorString() const override { return nullptr; }
    void reset() override {}
    bool isOk() const override { return true; }
    StructBuilder& map(const char*) override { return *this; }
    StructBuilder& map() override { return *this; }
    StructBuilder& list(const char*) override { return *this; }
    StructBuilder& list() override { return *this; }
    StructBuilder& end() override { return *this; }
    StructBuilder& add(const char*, const Serializable&) override { return *this; }
    StructBuilder& add(const Serializable&) override { return *this; }
    StructBuilder& add(const char* key, int value) override { return log(std::string(key) + "=", value); }
    StructBuilder& add(int value) override { return log("", value); }
    StructBuilder& add(const char*, double) override { return *this; }
    StructBuilder& add(const char*, double, unsigned char) override { return *this; }
    StructBuilder& add(double) override { return *this; }
    StructBuilder& add(double, unsigned char) override { return *this; }
    StructBuilder& add(const char*, const char*) override { return *this; }
    StructBuilder& add(const char*) override { return *this; }
    StructBuilder& add(const char*, bool) override { return *this; }
    StructBuilder& add(bool) override { return *this; }
    StructBuilder& add(const char*, NullType) override { return *this; }
    StructBuilder& add(NullType) override { return *this; }

    std::string text;

private:
    StructBuilder& log(const std::string& key, int value)
    {
        text += key + std::to_string(value) + ";";
        return *this;
    }
};

class NarrowHandler : public Deserializer::Handler
{
public:
    using Handler::onInteger;
    void onInteger(WeakPtr<Deserializer>, const char*, int value) override { last = value; }

    int last = 0;
};

class Counted : public NarrowBuilder, public CreateMixins<Counted, AutoPtr<StructBuilder>>
{
public:
    Counted() { ++alive; }
    ~Counted() override { --alive; }
    static int alive;
};
int Counted::alive = 0;

} // namespace

TEST(SerializationInterfacesTest, WideIntegersNarrowToTheirLowBits)
{
    NarrowBuilder builder;
    StructBuilder& chain = builder;
    chain.add(4294967297LL).add("k", 4294967297LL).add(-1LL).add("k", -4294967296LL);
    EXPECT_EQ(builder.text, "1;k=1;-1;k=0;");

    NarrowHandler handler;
    Deserializer::Handler& base = handler;
    base.onInteger(nullptr, nullptr, (1LL << 32) + 7);
    EXPECT_EQ(handler.last, 7);
    base.onInteger(nullptr, nullptr, -1LL);
    EXPECT_EQ(handler.last, -1);
    EXPECT_EQ(base.arrayStart(nullptr, "k"), nullptr);
    EXPECT_EQ(base.objectStart(nullptr, "k"), nullptr);
}

TEST(SerializationInterfacesTest, CreatedObjectIsOwnedThroughItsInterface)
{
    {
        const AutoPtr<StructBuilder> builder = Counted::create();
        EXPECT_EQ(Counted::alive, 1);
        EXPECT_TRUE(builder->isOk());
    }
    EXPECT_EQ(Counted::alive, 0);
}
