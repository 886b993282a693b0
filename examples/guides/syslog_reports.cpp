// Sends what the library reports to the system log, one report a line.
#include <cstdio>
#include <new>
#include <syslog.h>

#include "ostrel/DynamicString.h"
#include "ostrel/ErrorServer.h"

using namespace Ostrel;

class SyslogPolicy : public ErrorPolicy
{
public:
    void fatal(const char* message) override { log(LOG_CRIT, message); }
    void recoverable(const char* message) override { log(LOG_ERR, message); }
    void trivial(const char* message) override { log(LOG_INFO, message); }

private:
    /// Some texts end with a line feed, and some quote what came from outside: nothing of that may begin a new line.
    static void log(int priority, const char* message)
    {
        char line[ErrorServer::MESSAGE_SIZE]; // on the stack: reports come from several threads, and without memory too
        unsigned int length = 0;
        for (; message[length] != '\0' && length < sizeof(line) - 1; ++length) {
            const unsigned char c = static_cast<unsigned char>(message[length]);
            line[length] = c < ' ' || c == 0x7F ? ' ' : message[length];
        }
        line[length] = '\0';
        syslog(priority, "%s", line); // never the message as the format
    }
};

int main()
{
    // LOG_PERROR shows on standard error what goes to the log.
    openlog("syslog_reports", LOG_PERROR, LOG_DAEMON);

    // First of all, before other threads run; what was reported earlier is lost.
    ErrorServer* const server = Singleton<ErrorServer>::getInstance();
    if (server == nullptr) {
        syslog(LOG_CRIT, "not enough memory for the error server");
        return 1;
    }
    AutoPtr<ErrorPolicy> policy(new (std::nothrow) SyslogPolicy);
    if (!policy) {
        syslog(LOG_CRIT, "not enough memory for the error policy");
        return 1;
    }
    server->setPolicy(std::move(policy));

    // Something to report: more than a text may have. The program goes on all the same.
    DynamicString text;
    if (text.setByteSize(300000) != ReadableString::RC_OK)
        puts("goes on without the text");

    // The server is there for the application's own messages too.
    server->trivial("%s:%d - pump %d has started", __FILE__, __LINE__, 2);
    return 0;
}
