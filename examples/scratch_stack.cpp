#include <cstdio>

#include "ostrel/HeapStack.h"

int main()
{
    unsigned char buffer[64];
    Ostrel::HeapStack stack(buffer, sizeof(buffer));
    printf("%u free\n", stack.getFreeCount());
    unsigned char* first = stack.allocate(10);
    printf("%u free, first at %td\n", stack.getFreeCount(), first - buffer);
    unsigned char* second = stack.allocate(4);
    printf("%u free, second at %td\n", stack.getFreeCount(), second - buffer);
    stack.free(first); // the second block goes with it
    printf("%u free\n", stack.getFreeCount());
}
