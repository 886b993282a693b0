/* For tests in C: ends the function with the number of the line whose condition does not hold. */
#pragma once

#define REQUIRE(condition)                                                                                             \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            return __LINE__;                                                                                           \
    } while (0)
