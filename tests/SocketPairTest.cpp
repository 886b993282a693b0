#include "ostrel/SocketPair.h"
#include "tests/support/TestIncludes.h"

TEST(SocketPairTest, EachEndHasItsOwnMode)
{
    Ostrel::SocketPair pair;
    const auto isNonBlocking = [&](unsigned int index) { return fcntl(pair.getSocket(index), F_GETFL) & O_NONBLOCK; };
    EXPECT_EQ(pair.setBlocking(false, 2), -1);
    EXPECT_EQ(pair.setBlocking(false, 1), 0);
    EXPECT_TRUE(isNonBlocking(1) && !isNonBlocking(0));
    EXPECT_EQ(pair.setBlocking(true, 1), 0);
    EXPECT_FALSE(isNonBlocking(1));
}
