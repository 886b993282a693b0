// The content dump. What it prints is for people, yet scripts match on it.
#include "ostrel/PropertyMap.h"

#include <cstdio>

#include "ostrel/internal/PropertyMapEntry.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): the class is global, its helpers are not

namespace {

/// What an entry costs besides its value, as the dump counts it.
unsigned int getOverhead(int key, PropertyMap_ValueType type)
{
    switch (type) {
    case PM_TYPE_BOOL:
        return 7;
    case PM_TYPE_INT:
    case PM_TYPE_FLOAT:
        return key > 0 ? 4 : 8; // key 0 counts as 8 though its form is short: see docs/compatibility.md
    case PM_TYPE_DOUBLE:
    case PM_TYPE_STRING:
        return 8;
    case PM_TYPE_BINARY:
    case PM_TYPE_PROPERTY_MAP:
        return 20;
    default:
        return 0;
    }
}

/// Ends the line of a number, which may be inline.
void printOffsetOfNumber(const PropertyMap::KeyValuePair* entry)
{
    if (PropertyMapEntry(entry).isOffsetStored())
        printf(", buffer offset = [%d]", static_cast<int>(PropertyMapEntry(entry).getValueOffset()));
    printf("\n");
}

} // namespace

void PropertyMap::printContent() const
{
    const int size = static_cast<int>(getSize());
    printf("########################## PropertyMap Table Content #####################\n");
    printf("#### The size of table is %d\n", size);
    printf("#### The offset of Key Table is %d\n", static_cast<int>(getKeyTableOffset()));
    printf("#### The total number of Key is %d\n", static_cast<int>(getNumEntries()));
    printf("#### The empty space left is %d\n", static_cast<int>(getEmptySpace()));

    unsigned int overhead = PROPERTY_MAP_HEADER_SIZE;
    const KeyValuePair* entry = getKeyTableEntry();
    for (unsigned int left = getNumEntries(); left != 0; --left, ++entry) {
        printf("\t#### ");
        printEntry(entry);
        overhead += getOverhead(PropertyMapEntry(entry).getKey(), getValueType(entry));
    }
    printf("###################### Total Overhead is [%d] and about [%.1f%%]  ######################\n",
           static_cast<int>(overhead), overhead * 100.0 / size);
}

void PropertyMap::printEntry(const KeyValuePair* entry) const
{
    const PropertyMap_ValueType type = getValueType(entry);
    const int key = getKey(entry);
    const int offset = static_cast<int>(getValueOffset(entry));
    const unsigned char* value = getValueBytes(_buffer, entry);
    switch (type) {
    case PM_TYPE_BOOL:
        printf("Key = [%d], value = [%s] [Boolean]\n", key, PropertyMapEntry(entry).getBool() ? "true" : "false");
        break;
    case PM_TYPE_INT:
        printf("Key = [%d], value = [%d] [Integer]", key, loadWord<int>(value));
        printOffsetOfNumber(entry);
        break;
    case PM_TYPE_FLOAT:
        printf("Key = [%d], value = [%f] [Float]", key, static_cast<double>(loadWord<float>(value)));
        printOffsetOfNumber(entry);
        break;
    case PM_TYPE_DOUBLE:
        printf("Key = [%d], value = [%f] [Double], buffer offset = [%d]\n", key, loadWord<double>(value), offset);
        break;
    case PM_TYPE_STRING:
        printf("Key = [%d], value = [\"%s\"] [String] buffer offset = [%d]\n", key,
               reinterpret_cast<const char*>(value), offset);
        break;
    case PM_TYPE_BINARY:
    case PM_TYPE_PROPERTY_MAP:
        printf("Key = [%d], length = [%d] [%s], buffer offset = [%d]\n", key, loadWord<int>(value),
               type == PM_TYPE_BINARY ? "Binary" : "Map", offset);
        if (type == PM_TYPE_PROPERTY_MAP)
            getNestedMap(entry).printContent();
        break;
    default:
        break;
    }
}
