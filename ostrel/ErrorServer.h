#pragma once

#include <atomic>
#include <cstdarg>

#include "ostrel/AutoPtr.h"
#include "ostrel/Export.h"
#include "ostrel/Report.h"
#include "ostrel/Singleton.h"

namespace Ostrel {

/// Decides what a report does: log it, count it, stop the process. The application derives from it and installs an
/// object with `ErrorServer::setPolicy`.
///
/// Units:     messages are NUL-terminated, at most 1023 bytes; a cut may fall inside a UTF-8 character.
/// Ownership: a message is valid only during the call.
/// Errors:    a policy may stop the process; it must not throw.
/// Threads:   called on the reporting thread, from several threads at once if they report at once.
class OSTREL_EXPORT ErrorPolicy
{
public:
    virtual ~ErrorPolicy();
    virtual void fatal(const char* message) = 0;       ///< A broken invariant or precondition.
    virtual void recoverable(const char* message) = 0; ///< A misuse that was worked around.
    virtual void trivial(const char* message) = 0;     ///< Worth knowing.
};

/// The process-wide place to which the library reports every failure.
///
///     struct LoggingPolicy : ErrorServer::DefaultPolicy
///     {
///         void fatal(const char* message) override { fprintf(stderr, "%s\n", message); }
///     };
///     Singleton<ErrorServer>::getInstance()->setPolicy(AutoPtr<ErrorPolicy>(new LoggingPolicy));
///
/// Until a policy is installed, reports are dropped. A report never stops anything by itself, not even a fatal one:
/// after it the reporting code goes on along its own failure path.
///
/// Units:     formats are those of `vsnprintf`; a null one gives the empty message.
/// Ownership: the server owns its policy.
/// Errors:    none; a server that could not allocate its default policy drops what it is told.
/// Threads:   reporting takes no lock. `setPolicy` takes none either and must not race with reports.
class OSTREL_EXPORT ErrorServer
{
public:
    static constexpr unsigned int MESSAGE_SIZE = 1024; ///< With the terminator; a longer message is cut.

    /// What is installed at first: does nothing. Derive from it to receive some severities only.
    class OSTREL_EXPORT DefaultPolicy : public ErrorPolicy
    {
    public:
        void fatal(const char* message) override;
        void recoverable(const char* message) override;
        void trivial(const char* message) override;
    };

    ErrorServer();
    ~ErrorServer();
    ErrorServer(const ErrorServer&) = delete;
    ErrorServer& operator=(const ErrorServer&) = delete;

    /// All format the message and hand it to the operation of the policy that has their name.
    [[gnu::format(printf, 2, 3)]] void fatal(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void recoverable(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void trivial(const char* format, ...);

    /// As the three above, for those who hold their arguments in a `va_list`.
    [[gnu::format(printf, 3, 0)]] void report(Severity severity, const char* format, va_list arguments);

    /// Installs `policy` and destroys the previous one, which may still report while it goes. An empty pointer is
    /// ignored.
    void setPolicy(AutoPtr<ErrorPolicy> policy);

private:
    ErrorPolicy* _policy;
};

template <>
std::atomic<ErrorServer*> Singleton<ErrorServer>::_holder;
template <>
Singleton<ErrorServer>::Guard Singleton<ErrorServer>::_guard;
extern template class Singleton<ErrorServer>;

} // namespace Ostrel
