// Reads settings from JSON, changes one, and writes them all back.
#include <cstdio>
#include <new>

#include "json/JsonDeserializer.h"
#include "json/JsonSerializer.h"
#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/DataObject.h"
#include "ostrel/DataObjectHandler.h"
#include "ostrel/ErrorServer.h"

using namespace Ostrel;

/// Hears of what was misused or could not be kept. Until a policy is installed, nobody does.
class StderrPolicy : public ErrorPolicy
{
public:
    void fatal(const char* message) override { fprintf(stderr, "fatal: %s\n", message); }
    void recoverable(const char* message) override { fprintf(stderr, "error: %s\n", message); }
    void trivial(const char*) override {}
};

int main()
{
    if (ErrorServer* server = Singleton<ErrorServer>::getInstance())
        server->setPolicy(AutoPtr<ErrorPolicy>(new (std::nothrow) StderrPolicy));

    ByteArrayInputStream stream(R"({"name": "pump", "speeds": [10, 20], "limits": {"pressure": 16}})");
    DataObjectHandler handler;
    json::JsonDeserializer deserializer;
    if (deserializer.parse(stream, handler) != 0) {
        fprintf(stderr, "%s\n", deserializer.getErrorString());
        return 1;
    }
    const SharedPtr<DataObject> settings = handler.getRoot();
    if (!settings) {
        fputs("not enough memory\n", stderr);
        return 1;
    }

    // A chain of lookups needs no checks on the way: the default at its end is the answer to every miss.
    printf("%s runs at %d\n", settings->get("name").toString("?"), settings->get("speeds").get(1).toInt(0));
    printf("at most %d bar and %d degrees\n", settings->get("limits").get("pressure").toInt(10),
           settings->get("limits").get("temperature").toInt(80));

    if (settings->get("limits").set("temperature", DataObject::createInt(75)) != 0)
        return 1;

    json::JsonSerializer serializer;
    settings->serialize(serializer);
    serializer.nullTerminateData();
    if (!serializer.isOk()) {
        fprintf(stderr, "%s\n", serializer.getErrorString());
        return 1;
    }
    puts(serializer.getData());
    return 0;
}
