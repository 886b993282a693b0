#include "ostrel/Version.h"

const char* ostrel_get_version()
{
    return OSTREL_VERSION;
}
