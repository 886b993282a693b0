// What a tree costs: the size of each kind of node, without what it points to.
#include <cstdio>

#include "ostrel/DataObject.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): an example reads better without prefixes

int main()
{
    printf("IntegerDataObject %zu bytes\n", sizeof(IntegerDataObject));
    printf("StringDataObject  %zu bytes\n", sizeof(StringDataObject));
    printf("NullDataObject    %zu bytes\n", sizeof(NullDataObject));
    printf("InvalidDataObject %zu bytes\n", sizeof(InvalidDataObject));
    printf("DataObjectList    %zu bytes\n", sizeof(DataObjectList));
    printf("DataObjectMap     %zu bytes\n", sizeof(DataObjectMap));
}
