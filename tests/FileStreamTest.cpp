#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "ostrel/FileInputStream.h"
#include "ostrel/FileOutputStream.h"
#include "tests/support/PipeTest.h"

using Ostrel::FileInputStream;
using Ostrel::FileOutputStream;

static const char* const ANY_ERROR = "FileInputStream::getErrorString cannot format this error.";
static const unsigned int UNLIMITED = FileInputStream::UNLIMITED;

class FileInputStreamTest : public PipeTest
{};
INSTANTIATE_TEST_SUITE_P(UsualAndHighDescriptor, FileInputStreamTest, testing::Bool());

TEST(FileInputStreamBudgetTest, LimitsAllReadsTogether)
{
    struct Case
    {
        unsigned int budget;
        std::vector<unsigned int> sizes;
        std::vector<std::string> texts;
        long position; // of the file afterwards
    };
    static const Case CASES[] = {
        {UNLIMITED, {3, 3, 3, 3, 3}, {"012", "345", "678", "9", ""}, 10},
        {UNLIMITED - 1, {0, 64, 1}, {"", "0123456789", ""}, 10},
        {6, {3, 3, 1}, {"012", "345", ""}, 6},
        {5, {3, 3, 3}, {"012", "34", ""}, 5},
        {0, {3}, {""}, 0},
    };
    for (const Case& c : CASES) {
        SCOPED_TRACE(c.budget);
        const std::unique_ptr<FILE, int (*)(FILE*)> file(tmpfile(), fclose);
        fputs("0123456789", file.get());
        rewind(file.get());
        FileInputStream in(file.get(), false, c.budget);
        for (size_t i = 0; i < c.sizes.size(); ++i)
            EXPECT_EQ(readText(in, c.sizes[i]), c.texts[i]) << "read " << i;
        EXPECT_EQ(ftell(file.get()), c.position);
    }
}

TEST_P(FileInputStreamTest, WithoutTimeOutAnIdlePipeLooksLikeTheEnd)
{
    FileInputStream in(fdopen(reader, "r"), true);
    EXPECT_EQ(readText(in, 10), "");
    send("abcdef");
    EXPECT_EQ(readText(in, 1), "a");
    EXPECT_EQ(readText(in, 1), "") << "the descriptor decides, not what the file has buffered";
    send("ghi");
    EXPECT_EQ(readText(in, 2), "bc");
    close(writer);
    EXPECT_EQ(readText(in, 10), "defghi");
    EXPECT_EQ(readText(in, 10), "");
    EXPECT_EQ(in.getErrorString(), nullptr);
}

TEST_P(FileInputStreamTest, TimeOutIsSharedByAllWaitsOfACall)
{
    FileInputStream in(fdopen(reader, "r"), true, UNLIMITED, 1);
    in.setNonBlocking();
    std::atomic<bool> done(false);
    std::thread sender([this, &done] {
        // No wait of its own would ever last a second.
        for (int i = 0; i < 60 && !done; ++i) {
            send("a");
            usleep(100000);
        }
    });
    EXPECT_LT(readText(in, 60).size(), 60U);
    EXPECT_EQ(in.getErrorString(), nullptr);
    done = true;
    sender.join();
}

TEST_P(FileInputStreamTest, InterruptedWaitsAndEmptyHandedReadsAreRepeated)
{
    FileInputStream in(fdopen(reader, "r"), true, UNLIMITED, 60);
    in.setNonBlocking();
    EXPECT_TRUE(isNonBlocking(reader));
    std::thread sender([this] {
        usleep(50000); // for some interruptions of the reader (the thread sanitizer would hold back a handler's write)
        send("abc");
        waitUntilEmpty();
        send("defghij");
    });
    const Interruptions interruptions(ITIMER_REAL);
    EXPECT_EQ(readText(in, 10), "abcdefghij");
    EXPECT_EQ(in.getErrorString(), nullptr) << "the file's error was a passing one";
    sender.join();
}

TEST(FileStreamTest, UnusableFiles)
{
    FileInputStream noInput(nullptr, true, 0);
    noInput.setNonBlocking();
    EXPECT_EQ(readText(noInput, 1), "failed") << "even with nothing left of the budget";
    EXPECT_STREQ(noInput.getErrorString(), "File not found");
    FileOutputStream noOutput(nullptr, true);
    EXPECT_EQ(noOutput.write(bytes("a"), 1), -1);
    EXPECT_EQ(noOutput.flush(), 0);
    EXPECT_STREQ(noOutput.getErrorString(), "File not found");

    FileInputStream directory(fopen("/", "r"), true);
    char text[] = "abc";
    FileInputStream memory(fmemopen(text, 3, "r"), true); // has no descriptor to wait for
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(readText(directory, 3), "");
        EXPECT_STREQ(directory.getErrorString(), ANY_ERROR);
        EXPECT_EQ(readText(memory, 3), "");
        EXPECT_EQ(memory.getErrorString(), nullptr);
    }

    FileOutputStream full(fopen("/dev/full", "w"), true);
    EXPECT_EQ(full.write(bytes("a"), 1), 1);
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
        const off_t before = lseek(fd, 0, SEEK_END);
        EXPECT_EQ(out.write(bytes("a\0b"), 3), 3);
        EXPECT_EQ(out.write(nullptr, 0), 0);
        EXPECT_EQ(lseek(fd, 0, SEEK_END), before);
        EXPECT_EQ(out.flush(), 0);
        EXPECT_EQ(lseek(fd, 0, SEEK_END), before + 3);
    }
    EXPECT_FALSE(isOpen(fd)) << "the borrowing streams left it open, the owning one did not";
}
