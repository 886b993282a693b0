// Tells what differs between hosts, and sends a property map in the form that does not.
#include <climits>
#include <cstdint>
#include <cstdio>
#include <sys/stat.h>

#include "ostrel/Config.h"
#include "ostrel/PropertyMap.h"
#include "ostrel/SysCalls.h"
#include "ostrel/Version.h"

int main(int, char** argv)
{
    printf("libostrel %s\n", ostrel_get_version());
    printf("pointers %zu, off_t %d, time_t %d bytes, char is %s\n", sizeof(void*), OSTREL_SIZEOF_OFF_T,
           OSTREL_SIZEOF_TIME_T, CHAR_MIN < 0 ? "signed" : "unsigned");

    // Structures of the system cross the interface: both sides must see the same ones.
    struct stat status;
    if (SysCalls::stat(argv[0], &status) != 0)
        return 1;
    printf("this program has %lld bytes\n", static_cast<long long>(status.st_size));

    // Externalized bytes are the same on every host; those of the buffer follow its byte order.
    unsigned char buffer[64];
    PropertyMap map(buffer, sizeof(buffer));
    unsigned char form[128];
    if (map.insert(1, 1000) != PM_RC_OK)
        return 1;
    const unsigned int length = map.externalize(form, sizeof(form));
    if (length == 0)
        return 1;
    printf("externalized:");
    for (unsigned int i = 0; i < length; ++i)
        printf(" %02X", form[i]);
    puts("");
    return 0;
}
