// Every example of docs/format-strings.md, run: what the format gives, as JSON, and what is reported meanwhile.
#include <cstdio>
#include <cstring>

#include "json/JsonSerializer.h"
#include "ostrel/DataObject.h"
#include "ostrel/ErrorServer.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): an example reads better without prefixes

namespace {

/// Prints the text of a report without the place that it comes from, on one line.
class PrintingPolicy : public ErrorServer::DefaultPolicy
{
public:
    void recoverable(const char* message) override
    {
        printf("        report: ");
        for (const char* c = strstr(message, " - ") + 3; *c != '\0'; ++c)
            *c == '\n' ? printf("\\n") : putchar(*c);
        putchar('\n');
    }
};

void show(const DataObject* value)
{
    json::JsonSerializer serializer;
    if (value != nullptr)
        value->serialize(serializer);
    serializer.nullTerminateData();
    printf("        %s\n", value == nullptr ? "nothing" : serializer.getData());
}

} // namespace

#define SHOW(call) printf("    %s\n", #call), show(DataObject::call.get())
#define SHOW_CHANGE(node, call) printf("    %s.%s\n", #node, #call), (node).call, show(&(node))

int main()
{
    Singleton<ErrorServer>::getInstance()->setPolicy(AutoPtr<ErrorPolicy>(new PrintingPolicy));
    const char* name = "kitchen";
    const int id = 7;
    const long long serial = 5000000000;
    DataObjectMap root;

    SHOW(parse("{'name': %s, 'ids': [1, 2, %d]}", name, id));
    SHOW(parse("[%d, %ld, %lld, %s]", -1, 2L, serial, name));
    SHOW(parse("[31, 0x1F, 037, 'it''s', null]"));
    SHOW(parse("{'a': 1, 2: 'two', %s: 3, %d: 4}", name, id));
    SHOW(parse("[1 2 3]"));
    SHOW(parse("[1] and the rest"));
    SHOW_CHANGE(root, set("name", "%s", name));
    SHOW_CHANGE(root, set("ids", "[1, 2]"));
    SHOW_CHANGE(root.get("ids"), append("{'serial': %lld}", serial));
    SHOW_CHANGE(root.get("ids"), set(0, "%d", id));
    SHOW(parse("[{'a': 1}, 2]"));
    SHOW(parse("{'a': {'b': 1}, 'c': 2}"));
    SHOW(parse("{'a': [{'b': 1}], 'c': 2}"));
    SHOW(parse("{'c': 2, 'a': {'b': 1}}"));
    SHOW(parse("[2, [3], {'a': [4], 'b': 5}]"));
    SHOW(parse("['a', 'b']"));
    SHOW(parse("['a' , 'b']"));
    SHOW(parse("{'a' : 1}"));
    SHOW(parse("[1, -2, 3]"));
    SHOW(parse("[1, %d, 3]", -2));
    SHOW(parse("[1,,2]"));
    SHOW(parse("[1, %p, 2]", name));
    SHOW(parse("{'a': 1,}"));
    SHOW(parse("{'a': 1, }"));
    SHOW(parse("{ }"));
    SHOW(parse("{'a': 1, 'A': 2}"));
    SHOW(parse("08"));
}
