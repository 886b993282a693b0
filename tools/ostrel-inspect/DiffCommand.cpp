#include <algorithm>
#include <cstring>

#include "ostrel/PropertyMap.h"
#include "tools/ostrel-inspect/Commands.h"
#include "tools/ostrel-inspect/Output.h"

namespace Inspect {

namespace {

/// Writes what is only in one of two maps, or different in both, by the path of its key.
class Comparison
{
public:
    void compare(const std::string& path, const MapTree& left, const MapTree& right);

    std::string& getRows() { return _rows; }

private:
    void compareEntries(const std::string& name, const MapEntry& left, const MapEntry& right);
    void add(char sign, const std::string& name, const MapEntry& entry)
    {
        _rows += std::string(1, sign) + " " + name + " " + getTypeName(entry.type) + " " + showValue(entry) + "\n";
    }

    std::string _rows;
};

void Comparison::compare(const std::string& path, const MapTree& left, const MapTree& right)
{
    auto a = left.entries.begin();
    auto b = right.entries.begin();
    while (a != left.entries.end() || b != right.entries.end()) {
        const bool hasLeft = b == right.entries.end() || (a != left.entries.end() && a->key <= b->key);
        const bool hasRight = a == left.entries.end() || (b != right.entries.end() && b->key <= a->key);
        const std::string name = path + std::to_string(hasLeft ? a->key : b->key);
        if (hasLeft && hasRight)
            compareEntries(name, *a, *b);
        else if (hasLeft)
            add('-', name, *a);
        else
            add('+', name, *b);
        a += hasLeft ? 1 : 0;
        b += hasRight ? 1 : 0;
    }
}

bool areEqual(const MapEntry& left, const MapEntry& right)
{
    if (left.type != right.type)
        return false;
    if (left.type < PM_TYPE_STRING) // their bytes are in different order in an image and a form
        return left.bits == right.bits;
    return left.size == right.size && (left.size == 0 || memcmp(left.data, right.data, left.size) == 0);
}

void Comparison::compareEntries(const std::string& name, const MapEntry& left, const MapEntry& right)
{
    if (left.nested && right.nested)
        return compare(name + ".", *left.nested, *right.nested);
    if (areEqual(left, right))
        return;
    add('-', name, left);
    add('+', name, right);
}

bool readFile(const std::string& file, std::string* storage, MapTree* map)
{
    Bytes bytes;
    if (!readBytes(file, 0, storage, &bytes))
        return false;
    Faults faults;
    *map = readMap(bytes, MapFormat::DETECTED, &faults);
    faults.complain(file);
    return faults.isEmpty();
}

} // namespace

ExitStatus runDiff(const Options& options)
{
    std::string storages[2];
    MapTree maps[2];
    const bool isLeftGood = readFile(options.files[0], &storages[0], &maps[0]);
    if (!readFile(options.files[1], &storages[1], &maps[1]) || !isLeftGood)
        return EXIT_REFUSED;
    Comparison comparison;
    comparison.compare("", maps[0], maps[1]);
    const bool areSame = comparison.getRows().empty();
    flushTo(stdout, comparison.getRows());
    return areSame ? EXIT_GOOD : EXIT_REFUSED;
}

} // namespace Inspect
