// An error policy for programs that must not go on with less than they were given.
#pragma once

#include <cstring>
#include <string>

#include "ostrel/ErrorServer.h"

/// Keeps the first report. Whatever it tells, the tree does not hold what the file says.
class FirstReport : public Ostrel::ErrorPolicy
{
public:
    explicit FirstReport(std::string& message) : _message(message) {}
    void fatal(const char* message) override { keep(message); }
    void recoverable(const char* message) override { keep(message); }
    void trivial(const char*) override {}

private:
    void keep(const char* message)
    {
        const char* const text = strstr(message, " - "); // behind the place in the library's source
        if (_message.empty())
            _message = text == nullptr ? message : text + strlen(" - ");
    }

    std::string& _message;
};
