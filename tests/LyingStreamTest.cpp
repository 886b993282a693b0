#include "json/JsonDeserializer.h"
#include "json/JsonParser.h"
#include "ostrel/BufferedInputStream.h"
#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/MimeInputStream.h"
#include "ostrel/XmlStreamFilter.h"
#include "tests/support/PieceStream.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test across many families

template <unsigned int OPTIONS>
static int filter(AutoPtr<InputStream> stream)
{
    DataObjectSaxHandler handler;
    SAXParser parser(WeakPtr<SAXHandler>{handler});
    return XmlStreamFilter(*stream, parser, OPTIONS).start();
}

static int deserialize(AutoPtr<InputStream> stream)
{
    Deserializer::Handler handler;
    return json::JsonDeserializer().parse(*stream, handler);
}

static int readSix(InputStream&& stream)
{
    unsigned char bytes[6];
    return stream.read(bytes, sizeof(bytes));
}

using LyingStreamTest = ReportTest;

TEST_F(LyingStreamTest, ClaimsAreClampedAndEveryNegativeCountIsAFailure)
{
    // What comes of a claim of more than was asked for, of one byte, and of a negative count.
    const std::tuple<const char*, int (*)(AutoPtr<InputStream>), int, int, int> CASES[] = {
        {"[1]", [](AutoPtr<InputStream> in) { return json::JsonParser().parse(in.get()); }, 0, -1, -1},
        {"[1]", [](AutoPtr<InputStream> in) { return json::JsonParser().parseUnbuffered(in.get()); }, 0, 0, -1},
        {"[1]", deserialize, 0, -1, -1},
        {"<a/>", filter<XmlStreamFilter::REFUSE_MALFORMED>, 0, -1, -1},
        {"<a/>", filter<XmlStreamFilter::STOP_AT_ROOT_END>, 0, 0, -1},
        {"abc", [](AutoPtr<InputStream> in) { return readSix(BufferedInputStream<4>(in.get())); }, -1, 1, -1},
        {"abc", [](AutoPtr<InputStream> in) { return readSix(MimeInputStream(std::move(in), 78)); }, 6, 4, 0},
    };
    for (const auto& [text, read, ofMuch, ofOne, ofNegative] : CASES) {
        for (const auto& [claim, expected] : {std::pair(INT_MAX, ofMuch),
                                              {70000, ofMuch},
                                              {1, ofOne},
                                              {-1, ofNegative},
                                              {-5, ofNegative},
                                              {INT_MIN, ofNegative}}) {
            auto stream = std::make_unique<PieceStream>(text, std::vector<unsigned int>{0xFFFFFFFF}, -1);
            stream->claimed = claim;
            EXPECT_EQ(read(std::move(stream)), expected) << text << " " << claim;
        }
    }
    takeReports(); // of documents that are not whole
}
