#include "json/JsonParser.h"
#include "ostrel/BufferedInputStream.h"
#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/MimeInputStream.h"
#include "ostrel/XmlStreamFilter.h"
#include "tests/support/PieceStream.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test across many families

using LyingStreamTest = ReportTest;
using Stream = AutoPtr<InputStream>;

static int filter(InputStream& stream, unsigned int options)
{
    DataObjectSaxHandler handler;
    SAXParser parser(WeakPtr<SAXHandler>{handler});
    return XmlStreamFilter(stream, parser, options).start();
}

TEST_F(LyingStreamTest, ClaimsAreClampedAndEveryNegativeCountIsAFailure)
{
    static unsigned char bytes[6];
    // What comes of a claim of more than was asked for, of one byte, and of a negative count.
    const std::tuple<const char*, int (*)(Stream), int, int, int> CASES[] = {
        {"[1]", [](Stream in) { return json::JsonParser().parse(in.get()); }, 0, -1, -1},
        {"[1]", [](Stream in) { return json::JsonParser().parseUnbuffered(in.get()); }, 0, 0, -1},
        {"<a/>", [](Stream in) { return filter(*in, XmlStreamFilter::REFUSE_MALFORMED); }, 0, -1, -1},
        {"<a/>", [](Stream in) { return filter(*in, XmlStreamFilter::STOP_AT_ROOT_END); }, 0, 0, -1},
        {"abcd", [](Stream in) { return BufferedInputStream<4>(in.get()).read(bytes, 6); }, 4, 1, -1},
        {"abc", [](Stream in) { return MimeInputStream(std::move(in), 78).read(bytes, 6); }, 6, 4, 0},
    };
    for (const auto& [text, read, ofMuch, ofOne, ofNegative] : CASES) {
        for (const auto& [claim, expected] : {std::pair(INT_MAX, ofMuch),
                                              {70000, ofMuch},
                                              {1, ofOne},
                                              {-1, ofNegative},
                                              {-5, ofNegative},
                                              {INT_MIN, ofNegative}}) {
            auto stream = std::make_unique<PieceStream>(text);
            stream->claimed = claim;
            EXPECT_EQ(read(std::move(stream)), expected) << text << " " << claim;
        }
    }
    takeReports(); // of documents that are not whole
}
