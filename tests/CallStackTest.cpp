#include "ostrel/CallStack.h"
#include "tests/support/TestIncludes.h"

// What the next one reads instead of the system's file.
static std::string debugText;

#define OPEN_DEBUG_TEXT(NAME)                                                                                          \
    extern "C" FILE* __real_##NAME(const char* path, const char* mode);                                                \
    extern "C" FILE* __wrap_##NAME(const char* path, const char* mode)                                                 \
    {                                                                                                                  \
        return debugText.empty() ? __real_##NAME(path, mode) : fmemopen(&debugText[0], debugText.size(), mode);        \
    }
OPEN_DEBUG_TEXT(fopen)
OPEN_DEBUG_TEXT(fopen64) // of hosts with offsets of two widths

using namespace Ostrel;

static CallStack readStack(const std::string& text)
{
    debugText = text;
    const CallStack stack;
    debugText.clear();
    return stack;
}

static std::string print(const CallStack& stack)
{
    testing::internal::CaptureStdout();
    stack.print();
    return testing::internal::GetCapturedStdout();
}

TEST(CallStackTest, IsEmptyWithoutTheDebugFile)
{
    EXPECT_EQ(print(CallStack()), "CallStack:\n");
    EXPECT_EQ(CallStack().getAddress(0), 0u);
}

TEST(CallStackTest, FramesStartBehindTheRetryLine)
{
    // The "(" line is too short for an address and counts with address 0, as does the unreadable one; the line of
    // 2000 characters comes in two pieces, and the second does not start with a parenthesis.
    const CallStack stack = readStack("(000)0x10\n(Retry)0x99\n(001)0x1234abcd\nother\n(\n(002)zz\n" +
                                      std::string(2000, 'x') + "\n(003)0xfffffffe");
    EXPECT_EQ(print(stack), "CallStack:\n\t0x1234abcd\n\t(nil)\n\t(nil)\n\t0xfffffffe\n");
}

TEST(CallStackTest, StopsAtItsDepthAndCopies)
{
    std::string text = "Retry\n";
    for (int i = 0; i < 70; ++i)
        text += "(000)0x" + std::to_string(1000 + i) + "\n";
    const CallStack stack = readStack(text);
    ASSERT_EQ(stack.getDepth(), 64u);
    EXPECT_EQ(stack.getAddress(63), 0x1063u);
    EXPECT_EQ(stack.getAddress(64), 0u);

    CallStack copy = readStack("Retry\n(000)0x1\n");
    const CallStack& itself = copy;
    copy = itself;
    EXPECT_EQ(copy.getAddress(0), 1u);
    copy = stack;
    EXPECT_EQ(print(CallStack(copy)), print(stack));
}
