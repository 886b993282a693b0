#include "json/JsonDeserializer.h"
#include "json/JsonParser.h"
#include "ostrel/BufferedInputStream.h"
#include "ostrel/MimeInputStream.h"
#include "ostrel/SAXParser.h"
#include "ostrel/XmlStreamFilter.h"
#include "ostrel/DataObjectSaxHandler.h"
#include "tests/support/PieceStream.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test across many families

using LyingStreamTest = ReportTest;

template <class Stream>
static int readAll(Stream&& stream)
{
    unsigned char bytes[6];
    return stream.read(bytes, sizeof(bytes));
}

static int filter(InputStream& stream, unsigned int options)
{
    DataObjectSaxHandler handler;
    SAXParser parser(handler);
    return XmlStreamFilter(stream, parser, options).start();
}

TEST_F(LyingStreamTest, ClaimsAreClampedAndFailuresOfAnyNumberAreFailures)
{
    using Stream = std::shared_ptr<PieceStream>;
    // What is read, what comes of a claim of more than was asked for, of one byte, and of a negative count.
    const std::tuple<const char*, int (*)(const Stream&), int, int, int> CASES[] = {
        {"[1]", [](const Stream& stream) { return json::JsonParser().parse(stream.get()); }, 0, -1, -1},
        {"[1]", [](const Stream& stream) { return json::JsonParser().parseUnbuffered(stream.get()); }, 0, 0, -1},
        {"[1]",
         [](const Stream& stream) {
             Deserializer::Handler handler;
             return json::JsonDeserializer().parse(*stream, handler);
         },
         0, -1, -1},
        {"abc", [](const Stream& stream) { return readAll(BufferedInputStream<4>(SharedPtr<InputStream>(stream.get()))); }, 0, 0, 0},
        {"<a/>", [](const Stream& stream) { return filter(*stream, XmlStreamFilter::REFUSE_MALFORMED); }, 0, -1, -1},
        {"<a/>", [](const Stream& stream) { return filter(*stream, XmlStreamFilter::STOP_AT_ROOT_END); }, 0, 0, -1},
    };
}
