// Texts from outside, in fixed and growing storage, cut, searched and compared as UTF-8.
#include <cstdio>
#include <cstring>

#include "ostrel/DynamicString.h"
#include "ostrel/FixedString.h"
#include "ostrel/StringUtils.h"

using namespace Ostrel;

namespace {

void show(const char* what, const ReadableString& text)
{
    printf("%s: %s (%u bytes, %u characters)\n", what, text.getData(), text.getByteLength(), text.getLength());
}

} // namespace

int main()
{
    // What comes from outside may be no UTF-8; the repaired text is never longer than the original.
    const char received[] = "K\xC3\xBC"
                            "che \xFF 2";
    unsigned char repaired[sizeof(received)];
    ensureStrictlyValidUtf8String(reinterpret_cast<const unsigned char*>(received), repaired);
    DynamicString name;
    if (name.growAndAssign(reinterpret_cast<const char*>(repaired)) != ReadableString::RC_OK)
        return 1;
    show("repaired", name);

    // Fixed storage: no heap, and what does not fit is cut between two characters.
    FixedString<3> label;
    if (label.assign(name) == ReadableString::RC_NO_SPACE)
        show("cut", label);

    // The same for an array of your own.
    char field[3];
    Utf8strncpy(field, name.getData(), sizeof(field));
    printf("field: %s\n", field);

    // Storage that grows does so in the operations that say so.
    if (name.appendFormat(": %d degrees", 21) == ReadableString::RC_NO_SPACE)
        puts("appendFormat does not grow");
    if (name.growAndAppend(": 21 degrees") != ReadableString::RC_OK)
        return 1;
    show("grown", name);

    // `find` starts at a byte and answers with a character; indexes of `erase` and `insert` are characters.
    const int colon = name.find(":", 0);
    if (colon < 0 || name.erase(static_cast<unsigned int>(colon), name.getLength()) != ReadableString::RC_OK)
        return 1;
    show("erased", name);

    // Without regard to case, also beyond ASCII.
    printf("equal: %d\n", stringCompareInsensitive("K\xC3\x9C"
                                                   "CHE",
                                                   "k\xC3\xBC"
                                                   "che") == 0);
    const char* const text = name.getData();
    const int offset = findIgnoreCase(text, "CHE"); // bytes, unlike `find`
    printf("found at byte %d, character %d\n", offset,
           convertByteToCharOffset(static_cast<unsigned int>(offset), text));

    // Character by character. `getNextChar` is not called at the terminator.
    for (const char* p = text; p != nullptr && *p != '\0'; p = getNextChar(p))
        printf("U+%04X ", static_cast<unsigned int>(convertUtf8ToUnicode(p)));
    puts("");
    return 0;
}
