#include "ostrel/HeapStack.h"
#include "tests/support/TestIncludes.h"

#define FAILED "Libostrel-HeapStack::validate() failed ! "
#define OUTSIDE FAILED "ptr=%p outside the HeapStack Pool\n"

using namespace Ostrel;

TEST(HeapStackTest, BlocksOfAllSizesInBuffersOfAllSizes)
{
    for (unsigned int size = 0; size <= 44; ++size) {
        for (unsigned int n = 0; n <= 36; ++n) {
            SCOPED_TRACE(testing::Message() << n << " bytes in a buffer of " << size);
            const std::unique_ptr<unsigned char[]> buffer(new unsigned char[size]);
            HeapStack stack(buffer.get(), size);
            const unsigned int room = size < 8 ? 0 : size - 8;
            std::vector<unsigned char*> blocks;
            while (unsigned char* const block = stack.allocate(n)) {
                std::fill_n(block, n, static_cast<unsigned char>(blocks.size()));
                blocks.push_back(block);
            }
            ASSERT_EQ(blocks.size(), room / (n + 8));
            const auto isAt = [&](const unsigned char* place, unsigned int word) { return loadU32(place) == word; };
            for (const unsigned char* block : blocks)
                ASSERT_TRUE(isAt(block - 4, n) && isAt(block + n, n));
            ASSERT_TRUE(blocks.empty() || isAt(blocks.back() - 8, stack.getFreeCount()));
            for (size_t i = blocks.size(); i-- > 0;)
                ASSERT_EQ(std::count(blocks[i], blocks[i] + n, i), n);
            for (size_t kept = blocks.size(); kept > 0;) {
                ASSERT_EQ(stack.getFreeCount(), room - kept * (n + 8));
                kept -= std::min<size_t>(kept, n % 3 + 1); // a block takes the younger ones with it
                stack.free(blocks[kept]);
                ASSERT_TRUE(isAt(blocks[kept] + n, stack.getFreeCount()));
            }
            ASSERT_EQ(stack.getFreeCount(), room);
            stack.clear();
            ASSERT_TRUE(size < 8 || isAt(buffer.get() + size - 4, room));
        }
    }
    EXPECT_EQ(HeapStack(nullptr, 64).allocate(0), nullptr);
    unsigned char buffer[64];
    EXPECT_EQ(HeapStack(buffer, 64).allocate(0xFFFFFFFF), nullptr);
}

TEST(HeapStackTest, ValidationSaysWhatIsBroken)
{
    const std::unique_ptr<unsigned char[]> buffer(new unsigned char[64]());
    const auto at = [&](unsigned int offset) { return buffer.get() + offset; };
    HeapStack stack(buffer.get(), 64);
    testing::internal::CaptureStdout();
    stack.validate(nullptr);
    stack.validate(stack.allocate(3)); // good, but too near the end
    stack.clear();
    stack.validate(stack.allocate(4));
    storeU32(at(60), 11);
    stack.validate(at(56));
    storeU32(at(52), 0x7FFFFFFF); // the other size would lie far outside
    for (const unsigned int offset : {56, 12, 11, 3, 65})
        stack.validate(at(offset));
    char expected[600];
    snprintf(expected, sizeof(expected),
             OUTSIDE FAILED "Side1ptr=%p, Side2ptr=%p,  side1Size=4 != side2Side=11 \n" //
             FAILED "Side1ptr=%p, Side2ptr=%p,  side1Size=2147483647 != side2Side=0 \n" //
             OUTSIDE OUTSIDE OUTSIDE,
             at(57), at(48), at(60), at(48), at(56 + 0x7FFFFFFFU), at(11), at(3), at(65));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}
