#include "ostrel/FdInputStream.h"

#include <cerrno>
#include <chrono>
#include <thread>

#include "tests/support/PipeTest.h"

using Ostrel::FdInputStream;

static const char* const ANY_ERROR = "FdInputStream::getErrorString cannot format this error.";

class FdInputStreamTest : public PipeTest
{};
INSTANTIATE_TEST_SUITE_P(UsualAndHighDescriptor, FdInputStreamTest, testing::Bool());

TEST_P(FdInputStreamTest, ReadsUntilAllIsThereOrTheEnd)
{
    FdInputStream in(reader);
    EXPECT_EQ(readText(in, 0), "");
    std::thread sender([this] {
        send("abc");
        waitUntilEmpty();
        send("defghijkl");
        close(writer);
    });
    errno = EIO; // somebody else's
    EXPECT_EQ(readText(in, 10), "abcdefghij");
    EXPECT_EQ(readText(in, 10), "kl");
    EXPECT_EQ(readText(in, 10), "");
    EXPECT_EQ(in.getErrorString(), nullptr);
    sender.join();
}

TEST_P(FdInputStreamTest, TimeOutDeliversThePart)
{
    FdInputStream in(reader);
    in.setTimeOut(1);
    send("abc");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(readText(in, 10), "abc");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(950));
    EXPECT_EQ(in.getErrorString(), nullptr);
}

TEST_P(FdInputStreamTest, WithoutTimeOutANonBlockingDescriptorIsPolled)
{
    FdInputStream in(reader);
    in.setTimeOut(0);
    const Interruptions interruptions(ITIMER_PROF, 2, writer); // comes only while the call works, which is: polls
    EXPECT_EQ(readText(in, 2), "ab");
    EXPECT_STREQ(in.getErrorString(), ANY_ERROR) << "the refused reads are still remembered";
    EXPECT_EQ(readText(in, 1), "c");
    EXPECT_EQ(in.getErrorString(), nullptr) << "each read starts without an error";
}

TEST_P(FdInputStreamTest, InterruptedReadGoesOnAndInterruptedWaitEndsTheCall)
{
    FdInputStream in(reader);
    const Interruptions interruptions(ITIMER_REAL, 4, writer);
    EXPECT_EQ(readText(in, 2), "ab");
    EXPECT_EQ(in.getErrorString(), nullptr);
    in.setTimeOut(60);
    EXPECT_EQ(readText(in, 10), "c");
    EXPECT_STREQ(in.getErrorString(), ANY_ERROR);
}

TEST_P(FdInputStreamTest, UnusableDescriptors)
{
    FdInputStream none(-1, true);
    none.setTimeOut(1);
    EXPECT_EQ(readText(none, 1), "failed");
    EXPECT_STREQ(none.getErrorString(), "File not found");

    FdInputStream closed(reader);
    close(reader);
    closed.setTimeOut(0);
    EXPECT_TRUE(closed.isBlocking()) << "a mode that could not be set is not remembered";
    EXPECT_EQ(readText(closed, 0), "") << "nothing remains to be read, so the failure is not tried again";
    closed.setTimeOut(60);
    EXPECT_EQ(readText(closed, 1), "");
    EXPECT_STREQ(closed.getErrorString(), ANY_ERROR);
}

TEST_P(FdInputStreamTest, TimeOutDecidesTheModeAndOwnershipTheClosing)
{
    for (const bool own : {false, true}) {
        FdInputStream in(reader, own);
        in.setTimeOut(0);
        EXPECT_TRUE(isNonBlocking(reader));
        EXPECT_FALSE(in.isBlocking());
        in.setTimeOut(4000000000U); // more than a 32-bit time takes
        EXPECT_FALSE(isNonBlocking(reader));
        send("a");
        EXPECT_EQ(readText(in, 1), "a");
        in.setBlocking(false);
        EXPECT_TRUE(isNonBlocking(reader));
    }
    EXPECT_FALSE(isOpen(reader)) << "the borrowing stream left it open, the owning one did not";
}
