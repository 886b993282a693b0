#include <climits>
#include <vector>

#include "ostrel/BufferedInputStream.h"
#include "ostrel/BufferedOutputStream.h"
#include "tests/support/PipeTest.h"
#include "tests/support/RecordingPolicy.h"

using Ostrel::BufferedInputStream;
using Ostrel::BufferedOutputStream;
using Ostrel::OutputStream;
using Ostrel::SharedPtr;

namespace {

/// Logs its calls: each write as its data and a comma, each flush as "F,", its end as "~".
class RecordingTarget : public OutputStream
{
public:
    explicit RecordingTarget(std::string& log) : _log(log) {}
    ~RecordingTarget() override { _log += "~"; }

    int write(const unsigned char* data, unsigned int size) override
    {
        _log += std::string(data, data + size) + ",";
        return -1; // must not show
    }

    int flush() override
    {
        _log += "F,";
        return 7;
    }

    const char* getErrorString() const override { return "the target's"; }

private:
    std::string& _log;
};

/// Delivers "abcdefgh..." in pieces: each result of the script is one read's, whatever the size asked for.
class ScriptedSource : public Ostrel::InputStream
{
public:
    explicit ScriptedSource(std::vector<int> script) : _script(std::move(script)) {}

    int read(unsigned char* buffer, unsigned int size) override
    {
        lastSize = size;
        const int result = reads < _script.size() ? _script[reads] : 0;
        ++reads;
        for (int i = 0; i < result && i < static_cast<int>(size); ++i)
            buffer[i] = _next++;
        return result;
    }

    const char* getErrorString() const override { return "the source's"; }

    unsigned int reads = 0;
    unsigned int lastSize = 0;

private:
    std::vector<int> _script;
    unsigned char _next = 'a';
};

} // namespace

class BufferedOutputStreamTest : public ReportTest
{};

TEST_F(BufferedOutputStreamTest, DataThatWouldFillTheBufferGoesOutDirectly)
{
    struct Case
    {
        const char* name;
        unsigned int size;
        std::vector<const char*> writes;
        const char* log;
    };
    static const Case CASES[] = {
        {"held until the end", 8, {"abc", "defg"}, "abcdefg,F,~"},
        {"filled to the brim", 8, {"abcdefg", "h"}, "abcdefg,F,h,~"},
        {"over the brim", 8, {"abcdefg", "hi", "j"}, "abcdefg,F,hi,j,F,~"},
        {"larger than the buffer", 8, {"abcdefgh", "ijklmnopq"}, "abcdefgh,ijklmnopq,~"},
        {"nothing", 8, {""}, "~"},
        {"nothing in a nearly full buffer", 8, {"abcdefg", ""}, "abcdefg,F,~"},
        {"no buffer", 0, {"a", ""}, "a,,~"},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.name);
        std::string log;
        {
            BufferedOutputStream out(SharedPtr<OutputStream>(new RecordingTarget(log)), c.size);
            for (const char* text : c.writes) {
                const int size = static_cast<int>(strlen(text));
                EXPECT_EQ(out.write(bytes(text), static_cast<unsigned int>(size)), size);
            }
        }
        EXPECT_EQ(log, c.log);
    }
}

TEST_F(BufferedOutputStreamTest, FlushGivesTheTargetsResultWhenSomethingWasHeld)
{
    std::string log;
    BufferedOutputStream out(SharedPtr<OutputStream>(new RecordingTarget(log)), 8);
    EXPECT_EQ(out.flush(), 0);
    out.write(bytes("abc"), 3);
    EXPECT_EQ(out.flush(), 7);
    EXPECT_EQ(out.flush(), 0) << "a failed write is not repeated";
    EXPECT_EQ(log, "abc,F,");
    EXPECT_STREQ(out.getErrorString(), "the target's");
}

TEST_F(BufferedOutputStreamTest, MissingTargetIsReportedOnceACall)
{
    BufferedOutputStream out(SharedPtr<OutputStream>(), 4);
    const auto expectOneReport = [this] {
        expectFailedCheck(Ostrel::Severity::FATAL, "SharedPtr", 180, "m_ptr");
        expectNoReports();
    };
    EXPECT_EQ(out.write(bytes("abc"), 3), 3);
    expectNoReports();
    EXPECT_EQ(out.write(bytes("de"), 2), 2); // a flush and a direct write
    expectOneReport();
    EXPECT_EQ(out.write(bytes("defgh"), 5), 5); // a direct write alone
    expectOneReport();
    out.write(bytes("i"), 1);
    EXPECT_EQ(out.flush(), 0);
    expectOneReport();
    EXPECT_EQ(out.getErrorString(), nullptr);
    expectOneReport();
}

TEST(BufferedInputStreamTest, RefillsAsTheSourceDelivers)
{
    struct Step
    {
        unsigned int size;
        const char* text;
        unsigned int sourceReads;
    };
    struct Case
    {
        const char* name;
        std::vector<int> script;
        std::vector<Step> steps;
    };
    static const Case CASES[] = {
        {"small reads of full buffers", {4, 4}, {{1, "a", 1}, {1, "b", 1}, {2, "cd", 1}, {1, "e", 2}}},
        {"reads over several short refills", {1, 2, 4}, {{5, "abcde", 3}, {2, "fg", 3}, {1, "", 4}}},
        {"nothing wanted", {4}, {{0, "", 0}, {1, "a", 1}, {0, "", 1}}},
        {"a pause ends a call, not the stream", {3, 0, 2}, {{4, "abc", 2}, {4, "de", 4}}},
        {"a failure swallows the count",
         {3, -1, 2, -1},
         {{4, "failed", 2}, {1, "d", 3}, {1, "e", 3}, {1, "failed", 4}}},
        {"the buffered rest comes before the failure", {3, -1}, {{2, "ab", 1}, {1, "c", 1}, {1, "failed", 2}}},
        {"a source that claims too much", {65536}, {{4, "abcd", 1}, {1, "", 2}}},
        {"a source that fails oddly", {INT_MIN}, {{1, "failed", 1}}},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.name);
        ScriptedSource source(c.script);
        BufferedInputStream<4> in(&source);
        for (const Step& step : c.steps) {
            EXPECT_EQ(readText(in, step.size), step.text);
            EXPECT_EQ(source.reads, step.sourceReads);
        }
    }
}

TEST(BufferedInputStreamTest, BlockReaderWorksInTheBuffer)
{
    ScriptedSource source({3, 0, -1, 2});
    BufferedInputStream<65536> in(&source);
    EXPECT_STREQ(in.getErrorString(), "the source's");
    unsigned char* span = nullptr;
    EXPECT_EQ(in.peek(&span), 3);
    EXPECT_EQ(source.lastSize, 65536U);
    in.consume(1);
    span[0] = 'X';
    span[2] = 'Z';
    EXPECT_EQ(readText(in, 1), "b");
    unsigned char* rest = nullptr;
    EXPECT_EQ(in.peek(&rest), 1);
    EXPECT_EQ(rest, span + 2);
    EXPECT_EQ(source.reads, 1U) << "looking again asks nobody";
    EXPECT_EQ(std::string(span, span + 3), "XbZ") << "consumed bytes stay the reader's";
    in.consume(5); // more than there is
    EXPECT_EQ(in.peek(&rest), 0);
    EXPECT_EQ(in.peek(&rest), -1);
    EXPECT_EQ(readText(in, 9), "de");
}

TEST(BufferedInputStreamTest, NullSourceReadsAsAFailedOne)
{
    BufferedInputStream<1> in(nullptr);
    EXPECT_EQ(readText(in, 0), "");
    EXPECT_EQ(readText(in, 1), "failed");
    EXPECT_EQ(in.getErrorString(), nullptr);
}
