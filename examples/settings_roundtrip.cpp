// The library's main job from end to end: a JSON file becomes a tree, is changed, and is written back.
//
//     settings_roundtrip          uses examples/data/settings.json and shows every text
//     settings_roundtrip FILE     takes any document, and shows sizes and times instead
//     settings_roundtrip -        the same with what is read from standard input
//
// Ends with status 1 and a message when the file is missing, is no JSON document, or holds what a tree cannot keep.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>

#include "json/JsonDeserializer.h"
#include "json/JsonSerializer.h"
#include "ostrel/DataObject.h"
#include "ostrel/DataObjectHandler.h"
#include "ostrel/FileInputStream.h"

#include "FirstReport.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): an example reads better without prefixes

namespace {

const char DEFAULT_FILE[] = "examples/data/settings.json";
const unsigned int UNLIMITED = 0xFFFFFFFF;
const unsigned int TIME_OUT_SECONDS = 10; // for pipes; a file never makes us wait

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

int fail(const char* path, const char* reason)
{
    fprintf(stderr, "settings_roundtrip: %s: %s\n", path, reason);
    return 1;
}

void printFile(const char* path)
{
    FileInputStream stream(fopen(path, "r"), true);
    unsigned char block[4096];
    for (int count; (count = stream.read(block, sizeof(block))) > 0;)
        fwrite(block, 1, static_cast<size_t>(count), stdout);
}

void printNumberChange(const char* name, DataObject& parent, const char* key, long long value)
{
    printf("  %s: %lld -> %lld\n", name, parent.get(key).toInt64(0), value);
    parent.set(key, DataObject::createInt(value));
}

void changeSettings(DataObject& root)
{
    // A chain of lookups needs no checks on the way: a miss answers with the default at the end.
    printf("  (read) deviceName: %s\n", root.get("deviceName").toString("unnamed"));
    printf("  (read) the second sensor's label: %s\n", root.get("sensors").get(1).get("label").toString("none"));
    printf("  (read) a setting that is missing: %d\n", root.get("display").get("brightness").toInt(80));

    DataObject& network = root.get("network");
    printNumberChange("network.mtu", network, "mtu", 9000);
    printNumberChange("logging.maxBytes", root.get("LOGGING"), "MaxBytes", 2097152); // keys have no letter case
    printf("  network.nameServers: one appended\n");
    network.get("nameServers").append(DataObject::createString("192.0.2.3"));
    printf("  operator.note: removed\n");
    root.get("operator").unset("note");
    printf("  restarts: added\n");
    root.set("restarts", DataObject::createInt(0));
}

unsigned int countNodes(const DataObject& node)
{
    unsigned int count = 1;
    for (AutoPtr<DataObject::DataObjectIterator> it = node.iterator(); it && it->hasCurrent(); it->next())
        count += countNodes(it->value());
    return count;
}

/// Some change that every document takes.
void changeAny(DataObject& root)
{
    if (root.set("changedByExample", DataObject::createInt(1)) != 0)
        root.append(DataObject::createInt(1));
}

/// Null, with `errno`, for what cannot be read as a file.
FILE* openFile(const char* path)
{
    FILE* const file = strcmp(path, "-") == 0 ? stdin : fopen(path, "r");
    struct stat status;
    if (file == nullptr || fstat(fileno(file), &status) != 0 || !S_ISDIR(status.st_mode))
        return file;
    fclose(file);
    errno = EISDIR;
    return nullptr;
}

int roundTrip(const char* path, bool showTexts)
{
    FILE* file = openFile(path);
    if (file == nullptr)
        return fail(path, strerror(errno));

    // A text above the limit, for instance, is left out of the tree, and only a report tells.
    static std::string report;
    Singleton<ErrorServer>::getInstance()->setPolicy(AutoPtr<ErrorPolicy>(new FirstReport(report)));

    FileInputStream stream(file, true, UNLIMITED, TIME_OUT_SECONDS);
    DataObjectHandler handler;
    json::JsonDeserializer deserializer;
    const Clock::time_point parseStart = Clock::now();
    if (deserializer.parse(stream, handler) != 0)
        return fail(path, deserializer.getErrorString());
    const double parseTime = millisecondsSince(parseStart);
    const SharedPtr<DataObject> root = handler.getRoot();
    if (!root)
        return fail(path, "not enough memory");
    if (!report.empty())
        return fail(path, report.c_str());

    if (showTexts) {
        printf("Input, %s:\n\n", path);
        printFile(path);
        printf("\nChanges (the tree holds no fractions: a number with a point is cut to an integer):\n\n");
        changeSettings(*root);
    } else {
        changeAny(*root);
    }

    json::JsonSerializer serializer;
    const Clock::time_point writeStart = Clock::now();
    root->serialize(serializer);
    const double writeTime = millisecondsSince(writeStart);
    if (!serializer.isOk())
        return fail(path, serializer.getErrorString());
    serializer.nullTerminateData();

    if (showTexts) {
        printf("\nResult:\n\n%s\n", serializer.getData());
        return 0;
    }
    if (file != stdin)
        printf("read     %ld bytes of JSON\n", ftell(file));
    printf("parsed   %u nodes in %.2f ms\n", countNodes(*root), parseTime);
    printf("written  %u bytes in %.2f ms\n", serializer.getDataLength(), writeTime);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2 || (argc == 2 && argv[1][0] == '-' && argv[1][1] != '\0')) {
        fputs("usage: settings_roundtrip [FILE]\n", stderr);
        return 2;
    }
    const bool hasFile = argc > 1;
    return roundTrip(hasFile ? argv[1] : DEFAULT_FILE, !hasFile);
}
