#include <cstdio>

#include "json/JsonDeserializer.h"
#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/DataObjectHandler.h"

int main()
{
    Ostrel::ByteArrayInputStream stream("{\"servers\": [{\"host\": \"gateway.local\", \"port\": 8080}]}");
    Ostrel::DataObjectHandler handler;
    json::JsonDeserializer deserializer;
    if (deserializer.parse(stream, handler) != 0)
        return 1;
    const Ostrel::DataObject& server = handler.getRoot()->get("servers").get(0);
    printf("%s:%d\n", server.get("host").toString("localhost"), server.get("port").toInt(80));
}
