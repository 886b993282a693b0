#include "ostrel/Report.h"

#include <cstdarg>
#include <cstdio>

#include "ostrel/ErrorServer.h"

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

void reportText(Severity severity, const char* file, int line, const char* text, ...)
{
    char message[ErrorServer::MESSAGE_SIZE]; // no more of it would get through
    message[0] = '\0';
    va_list arguments;
    va_start(arguments, text);
    vsnprintf(message, sizeof(message), text, arguments);
    va_end(arguments);
    reportMessage(severity, "%s:%d - '%s'", file, line, message);
}

} // namespace Ostrel
