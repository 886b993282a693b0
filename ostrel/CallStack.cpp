#include "ostrel/CallStack.h"

#include <cstring>
#include <unistd.h>

#include "ostrel/internal/CancellationPause.h"

namespace Ostrel {

namespace {

const size_t PATH_SIZE = 32;
const size_t LINE_SIZE = 1024;
const size_t ADDRESS_OFFSET = 5; // a frame line is "(nnn) address"

} // namespace

CallStack::CallStack() : _depth(0)
{
    const CancellationPause pause; // would leave the file open
    char path[PATH_SIZE];
    snprintf(path, sizeof(path), "/proc/%d/dbg", static_cast<int>(getpid()));
    FILE* file = fopen(path, "r");
    if (file == nullptr)
        return;

    read(file);
    fclose(file);
}

CallStack::CallStack(const CallStack& other) : _depth(other._depth)
{
    memcpy(_addresses, other._addresses, _depth * sizeof(_addresses[0]));
}

CallStack& CallStack::operator=(const CallStack& other)
{
    if (this == &other)
        return *this;

    _depth = other._depth;
    memcpy(_addresses, other._addresses, _depth * sizeof(_addresses[0]));
    return *this;
}

void CallStack::print() const
{
    puts("CallStack:");
    for (unsigned int i = 0; i < _depth; ++i)
        printf("\t%p\n", reinterpret_cast<void*>(static_cast<uintptr_t>(_addresses[i])));
}

void CallStack::read(FILE* file)
{
    char line[LINE_SIZE];
    bool inFrames = false;
    while (_depth < MAX_DEPTH && fgets(line, sizeof(line), file) != nullptr) {
        if (!inFrames)
            inFrames = strstr(line, "Retry") != nullptr;
        else if (line[0] == '(')
            addFrame(line);
    }
}

void CallStack::addFrame(const char* line)
{
    const char* text = line + strnlen(line, ADDRESS_OFFSET);
    // Read into a whole pointer: "%p" writes 8 bytes on a 64-bit host.
    void* address = nullptr;
    if (sscanf(text, "%p", &address) != 1)
        address = nullptr;
    // A frame whose address cannot be read counts all the same.
    _addresses[_depth++] = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address));
}

} // namespace Ostrel
