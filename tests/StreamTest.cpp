#include <sys/resource.h>
#include <sys/select.h>
#include <sys/timerfd.h>

#include "ostrel/BufferedInputStream.h"
#include "ostrel/BufferedOutputStream.h"
#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/ByteArrayOutputStream.h"
#include "ostrel/FdInputStream.h"
#include "ostrel/FileInputStream.h"
#include "ostrel/FileOutputStream.h"
#include "tests/support/ReportTest.h"
#include "tests/support/Waiting.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): all of the streams

namespace {

using Sizes = std::vector<unsigned int>;

const unsigned int UNLIMITED = FileInputStream::UNLIMITED;

/// The texts of reads of these sizes, each with a comma behind it; "failed" for one that gives -1. Behind them a
/// mark and the stream's error, if it has one.
std::string readTexts(InputStream& in, const Sizes& sizes)
{
    std::string texts;
    for (const unsigned int size : sizes) {
        unsigned char buffer[64];
        const int count = in.read(buffer, size);
        texts += (count < 0 ? "failed" : std::string(buffer, buffer + count)) + ",";
    }
    const char* const error = in.getErrorString();
    return error == nullptr ? texts : texts + "!" + error;
}

/// As `readTexts`, and "late" behind them when the last read timed out.
template <class Stream>
std::string readInTime(Stream& in, const Sizes& sizes)
{
    const std::string texts = readTexts(in, sizes);
    return in.hasTimedOut() ? texts + "late" : texts;
}

int write(OutputStream& out, const char* text)
{
    return out.write(reinterpret_cast<const unsigned char*>(text), static_cast<unsigned int>(strlen(text)));
}

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

/// Delivers "abcdefgh..." in pieces: each digit of the script is the result of a read, '-' one that fails. Logs "*".
class ScriptedSource : public InputStream
{
public:
    ScriptedSource(const char* script, std::string& log) : _script(script), _log(log) {}

    int read(unsigned char* buffer, unsigned int size) override
    {
        EXPECT_EQ(size, 4U) << "a whole buffer is asked for";
        _log += "*";
        const char result = *_script == '\0' ? '0' : *_script++;
        for (int i = 0; i < std::min(result - '0', 4); ++i)
            buffer[i] = _next++;
        _error = result == '-' ? "broken" : nullptr;
        return result == '-' ? -1 : result - '0';
    }

    const char* getErrorString() const override { return _error; }

private:
    const char* _script;
    std::string& _log;
    const char* _error = nullptr;
    unsigned char _next = 'a';
};

} // namespace

TEST(ByteArrayInputStreamTest, DeliversTheDataOnceAndWithoutTheTerminator)
{
    ByteArrayInputStream text("abc");
    EXPECT_EQ(readTexts(text, {0, 2, 2, 2}), ",ab,c,,");
    ByteArrayInputStream binary(reinterpret_cast<const unsigned char*>("a\0b"), 3);
    EXPECT_EQ(readTexts(binary, {UINT_MAX}), std::string("a\0b,", 4));
    ByteArrayInputStream noData(nullptr, 7);
    EXPECT_EQ(readTexts(noData, {9}), ",");
}

TEST(ByteArrayOutputStreamTest, TakesAPieceWholeOrNotAtAll)
{
    unsigned char storage[] = "__________|"; // with a guard behind the ten
    ByteArrayOutputStream out(storage, 10);
    const auto play = [&](const char* text) {
        const std::string result = std::to_string(write(out, text));
        return result + " " + out.getErrorString() + " " + reinterpret_cast<char*>(storage);
    };
    EXPECT_EQ(play("0123456789a"), "-1 OutputStream storage too small __________|");
    EXPECT_EQ(play("0123"), "4 Ok 0123______|");
    EXPECT_EQ(play("4567890"), "-1 OutputStream storage too small 0123______|");
    EXPECT_EQ(out.write(storage, UINT_MAX), -1) << "a sum would wrap";
    EXPECT_EQ(play("456789"), "6 Ok 0123456789|");
    EXPECT_EQ(play("x"), "-1 OutputStream storage too small 0123456789|");
    out.reset(storage + 2, 1);
    EXPECT_STREQ(out.getErrorString(), "Ok");
    EXPECT_EQ(out.write(nullptr, 0), 0);
    EXPECT_EQ(play("xy"), "-1 OutputStream storage too small 0123456789|");
    EXPECT_EQ(play("x"), "1 Ok 01x3456789|");
    EXPECT_EQ(ByteArrayOutputStream(nullptr, 8).write(storage, 1), -1);
}

using BufferedOutputStreamTest = ReportTest;

TEST_F(BufferedOutputStreamTest, DataThatWouldFillTheBufferGoesOutDirectly)
{
    const auto play = [](unsigned int size, const std::vector<const char*>& calls) {
        std::string log;
        {
            BufferedOutputStream out(SharedPtr<OutputStream>(new RecordingTarget(log)), size);
            EXPECT_STREQ(out.getErrorString(), "the target's");
            for (const char* text : calls) {
                if (strcmp(text, "flush") == 0)
                    log += std::to_string(out.flush());
                else
                    EXPECT_EQ(write(out, text), static_cast<int>(strlen(text)));
            }
        }
        return log;
    };
    EXPECT_EQ(play(8, {"abc", "defg"}), "abcdefg,F,~");
    EXPECT_EQ(play(8, {"abcdefg", "h"}), "abcdefg,F,h,~");
    EXPECT_EQ(play(8, {"abcdefg", "hi", "j"}), "abcdefg,F,hi,j,F,~");
    EXPECT_EQ(play(8, {"abcdefgh", "ijklmnopq"}), "abcdefgh,ijklmnopq,~");
    EXPECT_EQ(play(8, {"", "abcdefg", ""}), "abcdefg,F,~");
    EXPECT_EQ(play(8, {"flush", "ab", "flush", "flush", "c"}), "0ab,F,70c,F,~") << "a failed write is not repeated";
    EXPECT_EQ(play(0, {"a", ""}), "a,,~");
}

TEST_F(BufferedOutputStreamTest, MissingTargetIsReportedOnceACall)
{
    BufferedOutputStream out(SharedPtr<OutputStream>(), 4);
    const auto countReports = [this] { return takeReports().size(); };
    write(out, "abc");
    EXPECT_EQ(write(out, "de"), 2); // what is held, and the data
    expectFailedCheck(Severity::FATAL, "SharedPtr", 180, "m_ptr");
    EXPECT_EQ(out.flush() + countReports(), 0u); // what was held is dropped
    write(out, "i");
    EXPECT_EQ(out.flush() + countReports(), 1u);
    EXPECT_TRUE(out.getErrorString() == nullptr && countReports() == 1);
}

TEST(BufferedInputStreamTest, RefillsAsTheSourceDelivers)
{
    const auto play = [](const char* script, const Sizes& sizes) {
        std::string log;
        ScriptedSource source(script, log);
        BufferedInputStream<4> in(&source);
        for (const unsigned int size : sizes)
            log += readTexts(in, {size});
        return log;
    };
    EXPECT_EQ(play("44", {0, 1, 1, 2, 0, 1}), ",*a,b,cd,,*e,");
    EXPECT_EQ(play("124", {5, 2, 1}), "***abcde,fg,*,");
    EXPECT_EQ(play("302", {4, 4}), "**abc,**de,") << "a pause ends a call, not the stream";
    EXPECT_EQ(play("3-2-", {4, 2, 1}), "**failed,!broken*de,*failed,!broken") << "a failure swallows the count";
    EXPECT_EQ(play("3-", {2, 1, 1}), "*ab,c,*failed,!broken");
    EXPECT_EQ(play("9", {4, 1}), "*abcd,*,") << "a source that claims too much";

    BufferedInputStream<65536> none(nullptr);
    EXPECT_EQ(readTexts(none, {0, 1}), ",failed,");
}

namespace {

/// A test over a pipe, once with a usual descriptor and once with one that does not fit in an `fd_set`.
class PipeTest : public testing::TestWithParam<bool>
{
protected:
    void SetUp() override
    {
        rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        reader = fcntl(ends[0], F_DUPFD, GetParam() ? FD_SETSIZE : 0);
        writer = ends[1];
        close(ends[0]);
        if (reader < 0)
            GTEST_SKIP() << "no descriptors beyond FD_SETSIZE here";
    }

    void TearDown() override
    {
        setInterruptions(ITIMER_REAL, 0);
        setInterruptions(ITIMER_PROF, 0);
        close(reader); // fails when the test has given it away; nobody opens others meanwhile
        close(writer);
    }

    void send(const char* text) const { EXPECT_GT(::write(writer, text, strlen(text)), 0); }
    bool isNonBlocking() const { return (fcntl(reader, F_GETFL) & O_NONBLOCK) != 0; }

    /// Interrupts the system calls of this thread every 10 ms until the test ends: there is no SA_RESTART. With
    /// ITIMER_PROF the time counts only while the program works, not while it waits. The fourth one sends "abc".
    void interrupt(__itimer_which timer) const
    {
        left = 4;
        target = writer;
        struct sigaction action = {};
        action.sa_handler = [](int) {
            if (--left == 0 && ::write(target, "abc", 3) != 3)
                abort();
        };
        sigaction(timer == ITIMER_REAL ? SIGALRM : SIGPROF, &action, nullptr);
        setInterruptions(timer, 10000);
    }

    static void setInterruptions(__itimer_which timer, int microseconds)
    {
        const itimerval interval = {{0, microseconds}, {0, microseconds}};
        setitimer(timer, &interval, nullptr);
    }

    int reader = -1;
    int writer = -1;
    static inline volatile sig_atomic_t left;
    static inline volatile sig_atomic_t target;
};

const std::string FD_ERROR = "!FdInputStream::getErrorString cannot format this error.";
const std::string FILE_ERROR = "!FileInputStream::getErrorString cannot format this error.";

} // namespace

using FdInputStreamTest = PipeTest;
using FileInputStreamTest = PipeTest;
INSTANTIATE_TEST_SUITE_P(UsualAndHighDescriptor, FdInputStreamTest, testing::Bool());
INSTANTIATE_TEST_SUITE_P(UsualAndHighDescriptor, FileInputStreamTest, testing::Bool());

TEST_P(FdInputStreamTest, TimeOutStartsAgainWithEachWaitAndDeliversThePart)
{
    FdInputStream in(reader);
    in.setTimeOut(1);
    send("abc");
    std::thread sender([this] {
        usleep(300000); // a time-out that does not start again would end so much earlier
        send("d");
    });
    EXPECT_GE(getDurationMs([&] { EXPECT_EQ(readInTime(in, {10}), "abcd,late"); }), 1200);
    sender.join();
    send("ef");
    EXPECT_EQ(readInTime(in, {1}), "e,");
    close(writer);
    EXPECT_EQ(readInTime(in, {10}), "f,") << "an end is no time-out";
}

TEST_P(FdInputStreamTest, WithoutTimeOutANonBlockingDescriptorIsPolled)
{
    FdInputStream in(reader);
    in.setTimeOut(0);
    interrupt(ITIMER_PROF); // comes only while the call works, which is: polls
    EXPECT_EQ(readTexts(in, {2}), "ab," + FD_ERROR) << "the refused reads are still remembered";
    EXPECT_EQ(readTexts(in, {1}), "c,") << "each read starts without an error";
}

TEST_P(FdInputStreamTest, InterruptedReadGoesOnUntilAllIsThereAndInterruptedWaitEndsTheCall)
{
    FdInputStream in(reader);
    send("xyz");
    interrupt(ITIMER_REAL);
    errno = EIO; // somebody else's
    EXPECT_EQ(readTexts(in, {5}), "xyzab,");
    in.setTimeOut(60);
    EXPECT_EQ(readInTime(in, {10}), "c," + FD_ERROR);
    send("de");
    close(writer);
    EXPECT_EQ(readTexts(in, {3, 3}), "de,,");
}

TEST_P(FdInputStreamTest, UnusableDescriptors)
{
    FdInputStream none(-1, true);
    none.setTimeOut(1);
    EXPECT_EQ(readTexts(none, {1}), "failed,!File not found");

    FdInputStream closed(reader);
    close(reader);
    closed.setTimeOut(0);
    EXPECT_TRUE(closed.isBlocking()) << "a mode that could not be set is not remembered";
    EXPECT_EQ(readTexts(closed, {0}), "," + FD_ERROR)
        << "nothing remains to be read, so the failure is not tried again";
    closed.setTimeOut(60);
    EXPECT_EQ(readTexts(closed, {1}), "," + FD_ERROR);
}

TEST_P(FdInputStreamTest, TimeOutDecidesTheModeAndOwnershipTheClosing)
{
    for (const bool own : {false, true}) {
        FdInputStream in(reader, own);
        in.setTimeOut(0);
        EXPECT_TRUE(isNonBlocking());
        EXPECT_FALSE(in.isBlocking());
        in.setTimeOut(4000000000U); // more than a 32-bit time takes
        EXPECT_FALSE(isNonBlocking());
        send("a");
        EXPECT_EQ(readTexts(in, {1}), "a,");
    }
    EXPECT_EQ(fcntl(reader, F_GETFD), -1) << "the borrowing stream left it open, the owning one did not";
}

TEST_P(FileInputStreamTest, WithoutTimeOutAnIdlePipeLooksLikeTheEnd)
{
    FileInputStream in(fdopen(reader, "r"), true);
    EXPECT_EQ(readInTime(in, {10}), ",late");
    send("abcdef");
    EXPECT_EQ(readTexts(in, {1, 1}), "a,,") << "the descriptor decides, not what the file has buffered";
    close(writer);
    EXPECT_EQ(readInTime(in, {2, 4, 1}), "bc,def,,");
}

TEST_P(FileInputStreamTest, EmptyHandedReadsAreRepeatedUntilTheTimeOutOfTheWholeCall)
{
    FileInputStream in(fdopen(reader, "r"), true, UNLIMITED, 1);
    in.setNonBlocking();
    EXPECT_TRUE(isNonBlocking());
    std::atomic<bool> done(false);
    std::thread sender([&] {
        for (int i = 0; i < 60 && !done; ++i) {
            send("a");
            usleep(100000); // time has to pass, yet no wait of its own would ever last a second
        }
    });
    EXPECT_GE(getDurationMs([&] { EXPECT_LT(readTexts(in, {60}).size(), 60U); }), 950);
    done = true;
    sender.join();
}

TEST_P(FileInputStreamTest, InterruptedWaitsAreRepeated)
{
    const int timer = timerfd_create(CLOCK_MONOTONIC, 0); // readable after 50 ms: 8 bytes
    const itimerspec once = {{0, 0}, {0, 50000000}};
    timerfd_settime(timer, 0, &once, nullptr);
    FileInputStream in(fdopen(fcntl(timer, F_DUPFD, reader), "r"), true, UNLIMITED, 60);
    close(timer);
    interrupt(ITIMER_REAL);
    EXPECT_EQ(readTexts(in, {8}).size(), 8U + 1);
}

TEST(FileStreamTest, BudgetLimitsAllReadsTogether)
{
    const auto play = [](unsigned int budget, const Sizes& sizes) {
        FILE* file = tmpfile();
        fputs("0123456789", file);
        rewind(file);
        FileInputStream in(file, true, budget);
        const std::string texts = readTexts(in, sizes);
        return texts + std::to_string(ftell(file));
    };
    EXPECT_EQ(play(UNLIMITED, {3, 3, 3, 3, 3}), "012,345,678,9,,10");
    EXPECT_EQ(play(UNLIMITED - 1, {0, 64, 1}), ",0123456789,,10");
    EXPECT_EQ(play(6, {3, 3, 1}), "012,345,,6");
    EXPECT_EQ(play(5, {3, 3, 3}), "012,34,,5");
    EXPECT_EQ(play(0, {3}), ",0");
}

TEST(FileStreamTest, UnusableFiles)
{
    FileInputStream noInput(nullptr, true, 0);
    noInput.setNonBlocking();
    EXPECT_EQ(readTexts(noInput, {1}), "failed,!File not found") << "even with nothing left of the budget";
    FileOutputStream noOutput(nullptr, true);
    EXPECT_TRUE(write(noOutput, "a") == -1 && noOutput.flush() == 0);
    EXPECT_STREQ(noOutput.getErrorString(), "File not found");

    FileInputStream directory(fopen("/", "r"), true);
    EXPECT_EQ(readTexts(directory, {3, 3}), ",," + FILE_ERROR);
    char text[] = "abc";
    FileInputStream memory(fmemopen(text, 3, "r"), true); // has no descriptor to wait for
    EXPECT_EQ(readTexts(memory, {3, 3}), ",,");

    FileOutputStream full(fopen("/dev/full", "w"), true);
    EXPECT_EQ(write(full, "a"), 1);
    EXPECT_EQ(full.flush(), EOF);
    EXPECT_STREQ(full.getErrorString(), "Operation not permitted") << "the text of the flag, whatever the cause";
}

TEST(FileStreamTest, OutputIsHeldBackUntilFlushAndOnlyOwnedFilesAreClosed)
{
    FILE* file = tmpfile();
    const int fd = fileno(file);
    for (const bool own : {false, true}) {
        FileInputStream in(file, false);
        FileOutputStream out(file, own);
        EXPECT_EQ(write(out, "abc"), 3);
        EXPECT_EQ(out.write(nullptr, 0), 0);
        EXPECT_EQ(lseek(fd, 0, SEEK_END), own ? 3 : 0);
        EXPECT_EQ(out.flush(), 0);
        EXPECT_EQ(lseek(fd, 0, SEEK_END), own ? 6 : 3);
    }
    EXPECT_EQ(fcntl(fd, F_GETFD), -1) << "the borrowing streams left it open, the owning one did not";
}
