#include "ostrel/property_map.h"
#include "tests/support/TestIncludes.h"

extern "C" int getAndSetByFunctions(); // property_map_calls.c
extern "C" int exchangeByFunctions();

TEST(PropertyMapCInterfaceTest, CallsFromCReachTheirOperations)
{
    EXPECT_EQ(getAndSetByFunctions(), 0) << "line of property_map_calls.c";
    EXPECT_EQ(exchangeByFunctions(), 0) << "line of property_map_calls.c";
}

TEST(PropertyMapCInterfaceDeathTest, NullHandlesStopWithTheDeclaration)
{
    // Compilers differ in the blank before an asterisk.
    EXPECT_DEATH(property_map_get_size(nullptr), "property_map.cpp:[0-9]+: uint32_t "
                                                 "property_map_get_size\\(const property_map ?\\*\\): "
                                                 "Assertion `map' failed");
    EXPECT_DEATH(property_map_read_externalized_size(nullptr, nullptr),
                 "unsigned int property_map_read_externalized_size\\(const property_map ?\\*, const uint8_t ?\\*\\): "
                 "Assertion `buffer'");
}
