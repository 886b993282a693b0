// What the debugger is to show: objects with known contents, and memory that no object left so.
#include "ostrel/AutoPtrArray.h"
#include "ostrel/DataObject.h"
#include "ostrel/DynamicPropertyMap.h"
#include "ostrel/FifoBuffer.h"
#include "ostrel/FixedString.h"
#include "ostrel/HeapStack.h"
#include "ostrel/List.h"
#include "ostrel/Observable/CObservable.h"
#include "ostrel/Observable/StaticModel.h"
#include "ostrel/PropertyMapView.h"
#include "ostrel/SharedPtr.h"
#include "ostrel/property_map.h"
#include "tests/support/PropertyMapSample.h"

using namespace Ostrel;

struct Job : SListNode
{};

using Numbers = DynamicArrayList<int, 8>;
using Table = DynamicLookupTable<int, const char*>;

unsigned char zeros[256];
unsigned char garbage[256];

static void stopHere()
{
    __asm__ volatile("");
}

int main()
{
    memset(garbage, 0xEE, sizeof(garbage));
    DynamicString text("\"gr\xC3\xBC\xC3\x9F\x1B\xFF", 9);
    FixedString<16> fixedText;
    fixedText.assign("fixed");
    AutoPtr<DataObject> tree = DataObject::parse("{'A': %d, 'long': 'abcdef', 'b': [1, 'x', [], {'c': null}]}", -5);
    tree->get("b").append(AutoPtr<DataObject>());
    auto* const loop = new DataObjectList;
    loop->append("[]");
    loop->append(AutoPtr<DataObject>(loop));
    Numbers numbers;
    Table table;
    for (int i = 1; i < 4; ++i)
        numbers.append(i * i);
    table.set("two", 2);
    table.set("one", 1);
    [[maybe_unused]] const BinaryLookupTable<int, const char*>& entries = table;
    SharedPtr<Job> shared(new Job);
    const WeakPtr<SListNode> weak(shared);
    const SharedPtr<Job> second(shared);
    AutoPtrArray<Job> array(2);
    Job first;
    SListBase jobs;
    jobs.pushBack(*shared);

    SListBase ring;
    ring.pushBack(first); // as nobody should: the node is in a list, and then in this one twice
    ring.pushBack(first);

    PropertyMapSample sample;
    const unsigned char* mapBytes = nullptr;
    sample.map.serialize(&mapBytes);
    const PropertyMapView view(mapBytes);
    [[maybe_unused]] const property_map* mapHandle = property_map_attach_const(mapBytes);
    unsigned char brokenMap[PM_STORAGE(PM_ENTRY_STRING(3) + PM_ENTRY_BINARY(2) + PM_ENTRY_BOOL)];
    PropertyMap broken(brokenMap, sizeof(brokenMap));
    broken.insert(1, "abc");
    broken.insert(2, zeros, 2);
    broken.insert(3, true);
    brokenMap[11] = 'd';                     // the text's end
    brokenMap[12] = 9;                       // the length
    brokenMap[sizeof(brokenMap) - 8] = 0x0E; // the boolean's type

    char registry[OBSERVABLE_STORAGE(OBSERVABLE_EVENT(1) + OBSERVABLE_EVENT_WITH_LONG_ID(2))];
    ObservablePtr subject = createObservable(registry, sizeof(registry), nullptr);
    ObserverPtr observer = createObserver(nullptr);
    for (int event : {70000, -3, 70000})
        addObserver(subject, event, observer);
    unsigned char brokenRegistry[sizeof(registry)];
    memcpy(brokenRegistry, registry, sizeof(registry));
    brokenRegistry[4] = 200; // observers of the first event

    unsigned char stackBytes[64];
    HeapStack stack(stackBytes, sizeof(stackBytes));
    unsigned char* const block = stack.allocate(10);
    stack.allocate(4);
    storeU32(block + 10, 7);
    unsigned char input[] = "0123456789";
    unsigned char* lent;
    FifoBuffer fifo(8);
    fifo.write(input, 6);
    fifo.read(lent);
    fifo.closeWrite();
    stopHere();
    return 0;
}
