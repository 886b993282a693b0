// An XML file becomes a tree, from which one setting is read, and goes out as JSON. Each element is a map of its
// attributes and child elements, and of its text under "cdata".
//
//     xml_settings [FILE]         examples/data/settings.xml unless named
//
// Ends with status 1 and a message when the file is missing, is no XML document, or is nested too deeply for a tree.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <unistd.h>

#include "json/JsonSerializer.h"
#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/ErrorServer.h"
#include "ostrel/SAXParser.h"
#include "ostrel/XMLFileProcessor.h"

#include "FirstReport.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): an example reads better without prefixes

namespace {

int fail(const char* path, const char* reason)
{
    fprintf(stderr, "xml_settings: %s: %s\n", path, reason);
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    const char* const path = argc > 1 ? argv[1] : "examples/data/settings.xml";
    if (access(path, R_OK) != 0)
        return fail(path, strerror(errno));

    static std::string report;
    Singleton<ErrorServer>::getInstance()->setPolicy(AutoPtr<ErrorPolicy>(new FirstReport(report)));
    DataObjectSaxHandler handler;
    const SharedPtr<XMLParser> parser(new (std::nothrow) SAXParser(handler));
    XMLFileProcessor(path, parser).start();
    if (!report.empty())
        return fail(path, report.c_str());

    // All values are texts; the conversion makes a number of one. A setting that is missing gives the default.
    const DataObject& settings = handler.getRoot()->get("settings");
    printf("mtu: %d\n", settings.get("network").get("mtu").get("cdata").convertToInt(576));

    json::JsonSerializer serializer;
    handler.getRoot()->serialize(serializer);
    if (!serializer.isOk())
        return fail(path, serializer.getErrorString());
    serializer.nullTerminateData();
    puts(serializer.getData());
}
