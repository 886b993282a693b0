#include "ostrel/DynamicPropertyMap.h"
#include "tests/support/AllocationFaults.h"

TEST(DynamicPropertyMapTest, CopiesAreDeep)
{
    unsigned char image[64] = {};
    PropertyMap original(image, 50);
    original.insert(1, 11);
    DynamicPropertyMap fromImage(image, 64);
    DynamicPropertyMap fromMap(original);
    DynamicPropertyMap copy(fromMap);
    fromMap.set(1, 12);
    const long blocks = AllocationFaults::getLiveBlocks();
    DynamicPropertyMap(copy).set(1, 13);
    EXPECT_EQ(AllocationFaults::getLiveBlocks(), blocks);
    for (const PropertyMap& map : {original, static_cast<PropertyMap&>(fromImage), static_cast<PropertyMap&>(copy)}) {
        int value = 0;
        EXPECT_TRUE(map.get(1, &value) == PM_RC_OK && value == 11);
        EXPECT_EQ(map.getSize(), 50u); // the image's own, not that of the buffer made for it
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // their allocators stop instead
    EXPECT_THROW(DynamicPropertyMap(image, -1), std::bad_alloc);
#endif
}
