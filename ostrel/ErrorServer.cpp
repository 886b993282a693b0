#include "ostrel/ErrorServer.h"

#include <cstdio>
#include <new>
#include <utility>

#include "ostrel/ErrorReporter.h"

namespace Ostrel {

namespace {

constexpr int LINE_POLICY = 73;

// Static initialisers of other files may report, so these exist before any of theirs run.
const int FIRST_PRIORITY = 101;

} // namespace

__attribute__((init_priority(FIRST_PRIORITY))) SingletonBase::ImmortalMutex SingletonBase::_mutex;

template <>
std::atomic<ErrorServer*> Singleton<ErrorServer>::_holder{nullptr};
template <>
__attribute__((init_priority(FIRST_PRIORITY))) Singleton<ErrorServer>::Guard Singleton<ErrorServer>::_guard{};
template class Singleton<ErrorServer>;

ErrorReporter::~ErrorReporter() = default;

ErrorPolicy::~ErrorPolicy() = default;

void ErrorServer::DefaultPolicy::fatal(const char*) {}

void ErrorServer::DefaultPolicy::recoverable(const char*) {}

void ErrorServer::DefaultPolicy::trivial(const char*) {}

ErrorServer::ErrorServer() : _policy(new (std::nothrow) DefaultPolicy)
{
    if (_policy != nullptr)
        return;

    // Asking the singleton for its instance would create it, and this may be that very creation, with its lock held.
    if (ErrorServer* server = Singleton<ErrorServer>::findInstance())
        server->fatal("%s:%d - test '%s' failed", __FILE__, LINE_POLICY, "_policy");
}

ErrorServer::~ErrorServer()
{
    delete _policy;
}

void ErrorServer::fatal(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report(Severity::FATAL, format, arguments);
    va_end(arguments);
}

void ErrorServer::recoverable(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report(Severity::RECOVERABLE, format, arguments);
    va_end(arguments);
}

void ErrorServer::trivial(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report(Severity::TRIVIAL, format, arguments);
    va_end(arguments);
}

void ErrorServer::report(Severity severity, const char* format, va_list arguments)
{
    char message[MESSAGE_SIZE];
    message[0] = '\0';
    if (format != nullptr)
        vsnprintf(message, sizeof(message), format, arguments);
    if (_policy == nullptr)
        return;

    switch (severity) {
    case Severity::FATAL:
        return _policy->fatal(message);
    case Severity::RECOVERABLE:
        return _policy->recoverable(message);
    case Severity::TRIVIAL:
        return _policy->trivial(message);
    }
}

void ErrorServer::setPolicy(AutoPtr<ErrorPolicy> policy)
{
    if (policy == nullptr)
        return;

    // The new one first: the destructor of the old one may report.
    delete std::exchange(_policy, policy.release());
}

} // namespace Ostrel
