#include <random>
#include <string>

#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/DataObjectHandler.h"
#include "ostrel/DataObjectSaxHandler.h"
#include "tests/support/RecordingPolicy.h"
#include "xml/XmlSerializer.h"
#include "json/JsonDeserializer.h"
#include "json/JsonSerializer.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of what they do together

namespace {

std::mt19937 random(5);

bool isOneIn(unsigned int count)
{
    return random() % count == 0;
}

/// A text of all that is written in a way of its own. Controls without an escape of one letter would not come back.
std::string makeText()
{
    static const char* const PIECES[] = {"a", "Z", "\"", "\\", "/", "\n", "\t", "\xC3\xA9", "\xF0\x9F\x98\x80"};
    std::string text;
    for (unsigned int i = random() % 40; i > 0; --i)
        text += PIECES[random() % (sizeof(PIECES) / sizeof(PIECES[0]))];
    return text;
}

AutoPtr<DataObject> makeScalar()
{
    if (isOneIn(4))
        return AutoPtr<DataObject>(new NullDataObject);
    if (isOneIn(2))
        return DataObject::createString(makeText().c_str());
    const long long bits = (static_cast<long long>(random()) << 32) | random();
    return DataObject::createInt(bits >> random() % 64);
}

AutoPtr<DataObject> makeTree(int levels)
{
    if (levels == 0 || isOneIn(3))
        return makeScalar();

    AutoPtr<DataObject> node(isOneIn(2) ? static_cast<DataObject*>(new DataObjectMap) : new DataObjectList);
    for (unsigned int i = random() % 12; i > 0; --i) {
        if (node->append(makeTree(levels - 1)) != 0)
            node->set(("k" + makeText()).c_str(), makeTree(levels - 1));
    }
    return node;
}

std::string write(const DataObject& tree)
{
    json::JsonSerializer serializer;
    tree.serialize(serializer);
    EXPECT_TRUE(serializer.isOk()) << serializer.getErrorString();
    return std::string(serializer.getData(), serializer.getDataLength());
}

SharedPtr<DataObject> read(const std::string& text)
{
    ByteArrayInputStream stream(reinterpret_cast<const unsigned char*>(text.data()),
                                static_cast<unsigned>(text.size()));
    DataObjectHandler handler;
    json::JsonDeserializer deserializer;
    EXPECT_EQ(deserializer.parse(stream, handler), 0) << deserializer.getErrorString();
    return handler.getRoot();
}

} // namespace

class RoundTripTest : public ReportTest
{};

TEST_F(RoundTripTest, TreesComeBackFromTheirText)
{
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        DataObjectList root;
        for (int i = round == 0 ? 100 : 3; i > 0; --i) // the first one fills more than a buffer of the reader
            root.append(makeTree(3 - round % 4));
        const std::string text = write(root);
        ASSERT_TRUE(write(*read(text)) == text) << text.substr(0, 10000);
    }
}

TEST_F(RoundTripTest, XmlGivesMapsAndTextsBack)
{
    xml::XmlSerializer serializer;
    DataObject::parse("{'settings': {'host': 'gateway', 'log': {'file': 'a.log', 'level': 3}}}")->serialize(serializer);
    ASSERT_TRUE(serializer.isOk());
    DataObjectSaxHandler handler;
    SAXParser parser(handler);
    parser.parse(serializer.getData(), serializer.getDataLength() - 1); // without the NUL, which is no XML
    parser.endDocument();
    EXPECT_EQ(write(*handler.getRoot()), "{\"settings\":{\"host\":{\"cdata\":\"gateway\"},\"log\":{\"file\":"
                                         "{\"cdata\":\"a.log\"},\"level\":{\"cdata\":\"3\"}}}}");
}
