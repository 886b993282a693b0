// ostrel_scaling [--check FILE]: how costs grow. Each work is done at a size and at ten times that; the exponent is 1
// where its time follows the size and 2 where it follows the square of it. With --check the program fails where an
// exponent is far above the one in the file, bench/scaling.tsv.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "bench/AllocatorThresholds.h"
#include "json/JsonData.h"
#include "json/JsonDeserializer.h"
#include "ostrel/ArrayList.h"
#include "ostrel/ByteArrayInputStream.h"
#include "ostrel/DataObjectHandler.h"
#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/DynamicLookupTable.h"
#include "ostrel/DynamicString.h"
#include "ostrel/MemPool.h"
#include "ostrel/Observable/Observable.h"
#include "ostrel/PropertyMap.h"
#include "ostrel/SAXParser.h"
#include "ostrel/Unaligned.h"

namespace {

const int FACTOR = 10;
const double TOLERANCE = 0.3; // time on a busy machine swings; a factor of n is 1.0
const double SHORTEST = 0.02; // seconds that one measurement takes at least
const int ROUNDS = 5;

using Work = std::function<void()>;

/// Prepares a work of size n; what it returns is measured.
using MakeWork = Work (*)(int n);

struct Row
{
    const char* name;
    int size;
    MakeWork make;
};

template <class T>
void keep(const T& value)
{
    asm volatile("" : : "g"(&value) : "memory");
}

std::vector<int> makeNumbers(int n, bool isSorted)
{
    std::vector<int> numbers(static_cast<size_t>(n));
    std::iota(numbers.begin(), numbers.end(), 0);
    if (!isSorted)
        std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    return numbers;
}

std::string makeKey(int number)
{
    char key[16];
    snprintf(key, sizeof(key), "key%07d", number);
    return key;
}

Work appendToList(int n)
{
    return [n] {
        Ostrel::DynamicArrayList<int*, 8> list;
        for (int i = 0; i < n; ++i)
            list.append(nullptr);
        keep(list);
    };
}

Work parse(const std::string& text)
{
    return [text] {
        Ostrel::ByteArrayInputStream stream(reinterpret_cast<const unsigned char*>(text.data()),
                                            static_cast<unsigned int>(text.size()));
        Ostrel::DataObjectHandler handler;
        json::JsonDeserializer deserializer;
        if (deserializer.parse(stream, handler) != 0)
            abort();
    };
}

std::string makeArray(int n)
{
    std::string text = "[1";
    for (int i = 1; i < n; ++i)
        text += ",1";
    return text + "]";
}

Work parseArray(int n)
{
    return parse(makeArray(n));
}

template <bool IS_SORTED>
Work parseObject(int n)
{
    std::string text = "{";
    for (int number : makeNumbers(n, IS_SORTED))
        text += (text.size() == 1 ? "\"" : ",\"") + makeKey(number) + "\":1";
    return parse(text + "}");
}

template <bool IS_SORTED>
Work fillTable(int n)
{
    std::vector<std::string> keys;
    for (int number : makeNumbers(n, IS_SORTED))
        keys.push_back(makeKey(number));
    return [keys] {
        Ostrel::DynamicLookupTable<int, const char*> table;
        for (const std::string& key : keys)
            table.set(key.c_str(), 1);
    };
}

Work appendBytes(int n)
{
    return [n] {
        Ostrel::DynamicString text;
        for (int i = 0; i < n; ++i)
            text.growAndAppend("x");
    };
}

Work replaceMatches(int n)
{
    std::string text;
    for (int i = 0; i < n; ++i)
        text += "one ";
    return [text] {
        Ostrel::DynamicString changed(text.c_str());
        changed.findAndReplace("one", "two!");
    };
}

Work readLines(int n)
{
    std::string text = "<note>";
    for (int i = 0; i < n; ++i)
        text += "one line of many\n";
    text += "</note>";
    return [text] {
        Ostrel::DataObjectSaxHandler handler;
        Ostrel::SAXParser parser(handler);
        parser.startDocument();
        parser.parse(text.data(), static_cast<unsigned int>(text.size()));
        parser.endDocument();
    };
}

template <bool IS_SORTED>
Work fillPropertyMap(int n)
{
    const auto numbers = makeNumbers(n, IS_SORTED);
    const auto buffer = std::make_shared<std::vector<unsigned char>>(static_cast<size_t>(n) * 16 + 64);
    return [numbers, buffer] {
        PropertyMap map(buffer->data(), static_cast<unsigned int>(buffer->size()));
        for (int number : numbers) {
            if (map.insert(number, number) != PM_RC_OK)
                abort();
        }
    };
}

/// Maps in maps, each with nothing else in it.
Work askNestedMaps(int n)
{
    const unsigned int ROOM = 32;
    auto inner = std::make_shared<std::vector<unsigned char>>(ROOM);
    PropertyMap(inner->data(), ROOM);
    for (int i = 1; i < n; ++i) {
        auto outer = std::make_shared<std::vector<unsigned char>>(inner->size() + ROOM);
        PropertyMap map(outer->data(), static_cast<unsigned int>(outer->size()));
        if (map.insert(1, PropertyMap(inner->data())) != PM_RC_OK)
            abort();
        inner = outer;
    }
    return [inner] { keep(PropertyMap(inner->data()).getUnusedSpace()); };
}

class IdleObserver : public Ostrel::Observer
{
public:
    void notify(Ostrel::Observable*, const int&, const void*) override {}
};

Work addAndRemoveObservers(int n)
{
    const auto observers = std::make_shared<std::vector<IdleObserver>>(static_cast<size_t>(n));
    const auto buffer = std::make_shared<std::vector<char>>(0xFFFF);
    return [observers, buffer] {
        const int EVENT = 1;
        Ostrel::Observable observable(
            nullptr, Ostrel::AutoPtr<Ostrel::ObservableImplementation>(
                         new Ostrel::PiloObservableImpl(buffer->data(), static_cast<unsigned short>(buffer->size()))));
        for (IdleObserver& observer : *observers)
            observable.addObserver(EVENT, &observer);
        for (IdleObserver& observer : *observers)
            observable.removeObserver(EVENT, &observer);
    };
}

Work indexEachElement(int n)
{
    const std::string text = makeArray(n);
    return [text, n] {
        const json::JsonData array(text.data(), static_cast<unsigned int>(text.size()));
        for (int i = 0; i < n; ++i)
            keep(array[static_cast<unsigned int>(i)]);
    };
}

/// One call: the only free chunk is the last.
Work takeLastChunk(int n)
{
    const unsigned int CHUNK_SIZE = 8;
    const auto pool = std::make_shared<Ostrel::DynamicMemPool>(CHUNK_SIZE, static_cast<unsigned int>(n));
    void* first = pool->allocate();
    void* last = first;
    while (void* chunk = pool->allocate())
        last = chunk;
    return [pool, first, last] {
        // The first one puts the search back to the start, and goes again before it comes to the last.
        pool->release(last);
        pool->release(first);
        keep(pool->allocate());
        keep(pool->allocate());
    };
}

// Sizes at which the fixed costs no longer show, and ten times which takes well below a second.
const Row ROWS[] = {
    {"list append", 10000, appendToList},
    {"JSON array to tree", 5000, parseArray},
    {"JSON object to tree, keys in order", 2000, parseObject<true>},
    {"JSON object to tree, keys in any order", 2000, parseObject<false>},
    {"table set, keys in order", 5000, fillTable<true>},
    {"table set, keys in any order", 2000, fillTable<false>},
    {"string append of 1 byte", 2000, appendBytes},
    {"find and replace", 200, replaceMatches},
    {"XML lines in one element", 500, readLines},
    {"property map insert, keys in order", 1000, fillPropertyMap<true>},
    {"property map insert, keys in any order", 1000, fillPropertyMap<false>},
    {"property map unused space, nested", 20, askNestedMaps},
    {"registry add and remove", 1000, addAndRemoveObservers},
    {"JSON text, each element by index", 500, indexEachElement},
    {"pool, one free chunk, one call", 50000, takeLastChunk},
};

double getSeconds()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Of one go, the shortest of some.
double measure(const Work& work)
{
    work();
    double best = 0;
    int repeats = 1;
    for (int round = 0; round < ROUNDS;) {
        const double start = getSeconds();
        for (int i = 0; i < repeats; ++i)
            work();
        const double taken = getSeconds() - start;
        if (round == 0 && taken < SHORTEST) {
            repeats *= 2;
            continue;
        }
        best = round == 0 ? taken / repeats : std::min(best, taken / repeats);
        ++round;
    }
    return best;
}

std::map<std::string, double> readExponents(const char* path)
{
    std::map<std::string, double> exponents;
    FILE* const file = fopen(path, "r");
    if (file == nullptr) {
        perror(path);
        exit(2);
    }
    char line[256];
    while (fgets(line, sizeof(line), file) != nullptr) {
        char* const tab = strchr(line, '\t');
        if (line[0] != '#' && tab != nullptr)
            exponents[std::string(line, tab)] = strtod(tab + 1, nullptr);
    }
    fclose(file);
    return exponents;
}

/// False where the costs of the row grow faster than they used to.
bool show(const Row& row, const std::map<std::string, double>& committed)
{
    const double small = measure(row.make(row.size));
    const double large = measure(row.make(row.size * FACTOR));
    const double exponent = std::log10(large / small);
    const auto known = committed.find(row.name);
    const bool isUnknown = !committed.empty() && known == committed.end();
    const bool isWorse = known != committed.end() && exponent > known->second + TOLERANCE;
    const char* const note = isUnknown ? "  not in the file" : isWorse ? "  grows faster than before" : "";
    printf("%-40s %8d %12.2f %12.2f %9.2f%s\n", row.name, row.size, small * 1e6, large * 1e6, exponent, note);
    fflush(stdout);
    return !isUnknown && !isWorse;
}

} // namespace

int main(int argc, char** argv)
{
    const bool isCheck = argc == 3 && strcmp(argv[1], "--check") == 0;
    if (argc != 1 && !isCheck) {
        fprintf(stderr, "usage: %s [--check FILE]\n", argv[0]);
        return 2;
    }
    fixAllocatorThresholds();
    const std::map<std::string, double> committed = isCheck ? readExponents(argv[2]) : std::map<std::string, double>();
    printf("%-40s %8s %12s %12s %9s\n", "work", "n", "n, us", "10 n, us", "exponent");
    bool isGood = true;
    for (const Row& row : ROWS)
        isGood = show(row, committed) && isGood;
    return isGood ? 0 : 1;
}
