#include "ostrel/property_map.h"
#include "tests/support/TestIncludes.h"

extern "C" int getAndSetByFunctions(); // property_map_calls.c
extern "C" int exchangeByFunctions();

TEST(PropertyMapCInterfaceTest, CallsFromCReachTheirOperations)
{
    EXPECT_EQ(getAndSetByFunctions(), 0) << "line of property_map_calls.c";
    EXPECT_EQ(exchangeByFunctions(), 0) << "line of property_map_calls.c";
}

template <class Result, class... Arguments>
static void expectStop(const char* name, Result (*function)(Arguments...))
{
    EXPECT_DEATH(function(Arguments{}...), std::string(name) + "\\(.*Assertion `map' failed");
}

TEST(PropertyMapCInterfaceDeathTest, NullHandlesStopWithTheDeclaration)
{
#define EXPECT_STOP(name) expectStop("property_map_" #name, property_map_##name)
    EXPECT_STOP(get_num_entries), EXPECT_STOP(get_size), EXPECT_STOP(get_empty_space), EXPECT_STOP(has_key);
    EXPECT_STOP(get_key_type), EXPECT_STOP(get_all_keys), EXPECT_STOP(insert_string), EXPECT_STOP(insert_int);
    EXPECT_STOP(insert_bool), EXPECT_STOP(insert_float), EXPECT_STOP(insert_double), EXPECT_STOP(insert_binary_data);
    EXPECT_STOP(insert_property_map), EXPECT_STOP(get_string_buffer_size), EXPECT_STOP(get_binary_data_buffer_size);
    EXPECT_STOP(get_string), EXPECT_STOP(get_string_ref), EXPECT_STOP(get_int), EXPECT_STOP(get_bool);
    EXPECT_STOP(get_float), EXPECT_STOP(get_double), EXPECT_STOP(get_binary_data), EXPECT_STOP(get_binary_data_ref);
    EXPECT_STOP(set_string), EXPECT_STOP(set_int), EXPECT_STOP(set_bool), EXPECT_STOP(set_float);
    EXPECT_STOP(set_double), EXPECT_STOP(set_binary_data), EXPECT_STOP(set_property_map), EXPECT_STOP(remove_key);
    EXPECT_STOP(remove_all), EXPECT_STOP(print_content), EXPECT_STOP(serialize), EXPECT_STOP(get_serialized_data);
    EXPECT_STOP(check_externalized_size), EXPECT_STOP(externalize), EXPECT_STOP(initialize);
#undef EXPECT_STOP
    // Compilers differ in the blank before an asterisk.
    EXPECT_DEATH(property_map_get_size(nullptr), "property_map.cpp:[0-9]+: uint32_t "
                                                 "property_map_get_size\\(const property_map ?\\*\\): "
                                                 "Assertion `map' failed");
    EXPECT_DEATH(property_map_read_externalized_size(nullptr, nullptr),
                 "unsigned int property_map_read_externalized_size\\(const property_map ?\\*, const uint8_t ?\\*\\): "
                 "Assertion `buffer'");
}
