#include "tools/ostrel-inspect/Tree.h"

#include "json/JsonSerializer.h"
#include "ostrel/ErrorServer.h"
#include "tools/ostrel-inspect/Output.h"

namespace Inspect {

namespace {

std::string firstReport;

struct KeepingPolicy : Ostrel::ErrorPolicy
{
    void fatal(const char* message) override { recoverable(message); }
    void recoverable(const char* message) override
    {
        if (firstReport.empty())
            firstReport = message;
    }
    void trivial(const char*) override {}
};

} // namespace

void keepReports()
{
    Ostrel::Singleton<Ostrel::ErrorServer>::getInstance()->setPolicy(
        Ostrel::AutoPtr<Ostrel::ErrorPolicy>(new KeepingPolicy));
}

ExitStatus writeTree(const std::string& file, const Ostrel::DataObject& root)
{
    json::JsonSerializer serializer;
    root.serialize(serializer);
    if (!firstReport.empty() || !serializer.isOk()) {
        const char* const error = serializer.getErrorString();
        complain(file + ": the tree cannot hold this document: " +
                 (!firstReport.empty() ? firstReport
                  : error != nullptr   ? error
                                       : "out of memory"));
        return EXIT_REFUSED;
    }
    std::string line = showText({serializer.getData(), serializer.getDataLength()}, TextStyle::JSON_PART) + "\n";
    flushTo(stdout, line);
    return EXIT_GOOD;
}

} // namespace Inspect
