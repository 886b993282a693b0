// Reads a JSON file and tells what is wrong with it, as editors want it: FILE:LINE:COLUMN: REASON.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "json/JsonDeserializer.h"
#include "ostrel/DataObject.h"
#include "ostrel/DataObjectHandler.h"
#include "ostrel/ErrorServer.h"
#include "ostrel/FileInputStream.h"

using namespace Ostrel;

/// Keeps the first report: a parse that succeeds does not know of a text that was too long for the tree.
class FirstReport : public ErrorPolicy
{
public:
    explicit FirstReport(std::string& text) : _text(text) {}
    void fatal(const char* message) override { keep(message); }
    void recoverable(const char* message) override { keep(message); }
    void trivial(const char*) override {}

private:
    void keep(const char* message)
    {
        if (_text.empty())
            _text = message;
    }

    std::string& _text;
};

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    const char* const path = argv[1];
    static std::string report; // outlives the policy
    if (ErrorServer* server = Singleton<ErrorServer>::getInstance())
        server->setPolicy(AutoPtr<ErrorPolicy>(new (std::nothrow) FirstReport(report)));

    // 1. The file: the system knows why it cannot be opened.
    FILE* const file = fopen(path, "r");
    if (file == nullptr) {
        fprintf(stderr, "%s: %s\n", path, strerror(errno));
        return 1;
    }
    FileInputStream stream(file, true);
    DataObjectHandler handler;
    json::JsonDeserializer deserializer;
    if (deserializer.parse(stream, handler) != 0) {
        // 2. The stream: it has a text when reading failed, as it does for a directory. What was read is then no clue.
        if (stream.getErrorString() != nullptr) {
            fprintf(stderr, "%s: cannot be read\n", path);
            return 1;
        }
        // 3. The document.
        const json::JsonError error = deserializer.getError();
        fprintf(stderr, "%s:%llu:%llu: %s\n", path, error.line, error.column, error.getText());
        return 1;
    }
    // 4. The tree: does it hold all that the document says?
    const SharedPtr<DataObject> root = handler.getRoot();
    if (!root || !report.empty()) {
        fprintf(stderr, "%s: not all of it was kept: %s\n", path, report.c_str());
        return 1;
    }
    printf("%s: %d values at the top\n", path, root->getNumChildren());
    return 0;
}
