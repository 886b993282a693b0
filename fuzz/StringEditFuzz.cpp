// Edits decoded from the input, three bytes and a text each, on a string in guarded storage and on a growing one.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fuzz/Judge.h"
#include "ostrel/DynamicString.h"

using namespace Ostrel;

namespace {

const unsigned int BYTE_SIZE = 24;
const size_t GUARD_SIZE = 8;
const char GUARDS[GUARD_SIZE + 1] = "\x55\x55\x55\x55\x55\x55\x55\x55";

void edit(WritableString& string, unsigned int operation, unsigned int index, unsigned int count, const char* text)
{
    switch (operation % 8) {
    case 0:
        string.assign(text);
        break;
    case 1:
        string.insert(index, text);
        break;
    case 2:
        string.erase(index, count);
        break;
    case 3:
        string.trim();
        break;
    case 4:
        string.assignFormat("%s%u", text, count);
        break;
    case 5:
        string.insertFormat(index, "%s", text);
        break;
    case 6:
        string.appendFormat("%s", text);
        break;
    default:
        ReadableString(text).storeSubstring(string, index, count);
    }
}

void editGrowing(DynamicString& string, unsigned int operation, unsigned int index, unsigned int count,
                 const char* text)
{
    switch (operation % 16) {
    case 8:
        string.growAndAppend(text);
        break;
    case 9:
        string.growAndAssign(text);
        break;
    case 10:
        string.setByteSize(count);
        break;
    case 11:
        string.ensureFreeBytes(count);
        break;
    case 12:
        string.findAndReplace(text, index % 2 == 0 ? "" : "x\xC3\xA9");
        break;
    case 13:
        ReadableString(text).substr(&string, index, count);
        break;
    case 14:
        string = DynamicString(text, count);
        break;
    case 15:
        ReadableString(text).substring(index, count)->find(string, index);
        break;
    default:
        edit(string, operation, index, count, text);
    }
    require(string.getByteSize() == 0 ? string.getData() == nullptr : string.getByteLength() < string.getByteSize());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    char block[GUARD_SIZE + BYTE_SIZE + GUARD_SIZE] = "";
    memcpy(block, GUARDS, GUARD_SIZE);
    memcpy(block + GUARD_SIZE + BYTE_SIZE, GUARDS, GUARD_SIZE);
    WritableString fixed(block + GUARD_SIZE, BYTE_SIZE);
    DynamicString growing;
    while (size > 3) {
        char text[33] = "";
        const size_t length = size - 3 < data[0] % 33u ? size - 3 : data[0] % 33u;
        memcpy(text, data + 3, length);
        const unsigned int count = data[2] == 0xFF ? UINT32_MAX : data[2];
        edit(fixed, data[0], data[1], count, text);
        editGrowing(growing, data[0], data[1], data[2], text);
        require(fixed.getByteLength() < BYTE_SIZE);
        require(memcmp(block, GUARDS, GUARD_SIZE) == 0 &&
                memcmp(block + GUARD_SIZE + BYTE_SIZE, GUARDS, GUARD_SIZE) == 0);
        data += 3 + length;
        size -= 3 + length;
    }
    return 0;
}
