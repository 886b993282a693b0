// Any format, with arguments that suit every directive: each is passed as a long long, or as a pointer of its size.
// The format's block ends where the format ends, so a step too far is seen.
#include <cstdint>
#include <cstring>

#include "json/JsonSerializer.h"
#include "ostrel/DataObject.h"

namespace {

const size_t MAX_DIRECTIVES = 16;

/// With every "%s" turned into "%d", since the kind of an argument is the format's to choose, and not more directives
/// than there are arguments.
void makeSafe(char* format)
{
    size_t directives = 0;
    for (char* c = format; (c = strchr(c, '%')) != nullptr; ++c) {
        if (++directives > MAX_DIRECTIVES)
            *c = ' ';
        else if (c[1] == 's')
            c[1] = 'd';
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const Ostrel::AutoPtr<char[]> format(new char[size + 1]);
    memcpy(format.get(), data, size);
    format[size] = '\0';
    makeSafe(format.get());

    const long long n = -1;
    const Ostrel::AutoPtr<Ostrel::DataObject> tree =
        Ostrel::DataObject::parse(format.get(), n, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n);
    json::JsonSerializer serializer;
    if (tree != nullptr)
        tree->clone()->serialize(serializer);
    return 0;
}
