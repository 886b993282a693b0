#include "ostrel/Report.h"

#include <cstdarg>

namespace Ostrel {

bool reportFailedCheck(Severity severity, const char* file, int line, const char* text)
{
    reportMessage(severity, "%s:%d - test '%s' failed", file, line, text);
    return false;
}

void reportMessage(Severity severity, const char* format, ...)
{
    ErrorServer* server = Singleton<ErrorServer>::getInstance();
    if (server == nullptr)
        return;

    va_list arguments;
    va_start(arguments, format);
    server->report(severity, format, arguments);
    va_end(arguments);
}

} // namespace Ostrel
