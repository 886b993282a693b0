/* Says which version its headers and the library that it found are of. */
#include <stdio.h>

#include "ostrel/Version.h"

int main(void)
{
    printf("%d.%d.%d %s %s\n", OSTREL_VERSION_MAJOR, OSTREL_VERSION_MINOR, OSTREL_VERSION_PATCH, OSTREL_VERSION,
           ostrel_get_version());
    return 0;
}
