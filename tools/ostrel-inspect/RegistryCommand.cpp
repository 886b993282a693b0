#include <map>

#include "ostrel/Observable/StaticModel.h"
#include "ostrel/Unaligned.h"
#include "tools/ostrel-inspect/Commands.h"
#include "tools/ostrel-inspect/Output.h"

namespace Inspect {

namespace {

// The layout is that of docs/observable-format.md.
const uint32_t HEADER_SIZE = 4;
const uint32_t SHORT_EVENT_SIZE = 4;
const uint32_t LONG_EVENT_SIZE = 8;
const uint32_t OBSERVER_SIZE = 4;
const uint32_t LONG_FORM = 0x80000000u;

/// Takes a registry apart and shows it, as far as it is sound.
class RegistryReader
{
public:
    RegistryReader(const Bytes& bytes, ObserverWords observers, Faults* faults)
        : _bytes(bytes), _observers(observers), _faults(faults)
    {}

    std::string run();

private:
    bool readHeader();
    bool readEvent(uint32_t offset, uint32_t* size);
    void checkId(uint32_t offset, int id, bool isLong);
    void showEvent(uint32_t offset, int id, uint32_t headerSize, uint32_t count);

    bool refuse(uint32_t offset, const std::string& why)
    {
        _faults->add(_bytes.offset + offset, why);
        return false;
    }

    const Bytes& _bytes;
    ObserverWords _observers;
    Faults* _faults;
    uint32_t _used = 0;
    uint32_t _capacity = 0;
    std::map<int, uint32_t> _events; ///< Where each id is.
    uint32_t _observerCount = 0;
    std::string _rows;
};

std::string RegistryReader::run()
{
    if (!readHeader())
        return "";
    for (uint32_t offset = HEADER_SIZE, size = 0; offset != _used; offset += size) {
        if (!readEvent(offset, &size))
            break;
    }
    return "registry of " + std::to_string(_capacity) + " bytes, " + std::to_string(_used) + " used, " +
           std::to_string(_capacity - _used) + " free, " + showCount(_events.size(), "event", "events") + ", " +
           showCount(_observerCount, "observer", "observers") + "\nevent        form    offset  count  observers\n" +
           _rows;
}

bool RegistryReader::readHeader()
{
    if (_bytes.size < HEADER_SIZE)
        return refuse(0, "a registry has a header of 4 bytes, and " + showCount(_bytes.size, "is", "are") + " here");
    _used = Ostrel::loadU16(_bytes.data);
    _capacity = Ostrel::loadU16(_bytes.data + 2);
    if (_capacity < Ostrel::StaticModel::MINIMUM_BUFFER_SIZE)
        return refuse(2, "a registry has at least 12 bytes, not " + std::to_string(_capacity));
    if (_capacity > _bytes.size)
        return refuse(2, "the capacity is " + std::to_string(_capacity) + ", and " +
                             showCount(_bytes.size, "byte is", "bytes are") + " here");
    if (_used < HEADER_SIZE || _used > _capacity)
        return refuse(0, "the used size " + std::to_string(_used) + " is outside 4.." + std::to_string(_capacity));
    return true;
}

bool RegistryReader::readEvent(uint32_t offset, uint32_t* size)
{
    const uint32_t room = _used - offset;
    const uint32_t header = room < SHORT_EVENT_SIZE ? 0 : Ostrel::loadLE32(_bytes.data + offset);
    const bool isLong = (header & LONG_FORM) != 0;
    const uint32_t headerSize = isLong ? LONG_EVENT_SIZE : SHORT_EVENT_SIZE;
    if (room < headerSize)
        return refuse(offset, "the used bytes end inside an event");

    const uint32_t count = isLong ? header & ~LONG_FORM : header >> 16;
    const int id = isLong ? static_cast<int>(Ostrel::loadU32(_bytes.data + offset + 4))
                          : static_cast<int16_t>(Ostrel::loadU16(_bytes.data + offset));
    checkId(offset, id, isLong);
    if (count > (room - headerSize) / OBSERVER_SIZE)
        return refuse(offset, "event " + std::to_string(id) + " has " + showCount(count, "observer", "observers") +
                                  ", more than the used bytes hold");
    showEvent(offset, id, headerSize, count);
    *size = headerSize + count * OBSERVER_SIZE;
    return true;
}

/// Faults behind which reading can go on.
void RegistryReader::checkId(uint32_t offset, int id, bool isLong)
{
    const std::string name = "event " + std::to_string(id);
    if (isLong != Ostrel::StaticModel::isBigInt(id))
        refuse(offset, name + " is written in the " + (isLong ? "long" : "short") + " form");
    const auto inserted = _events.insert({id, offset});
    if (!inserted.second)
        refuse(offset, name + " is there already, at byte " + std::to_string(_bytes.offset + inserted.first->second));
}

void RegistryReader::showEvent(uint32_t offset, int id, uint32_t headerSize, uint32_t count)
{
    char columns[64];
    snprintf(columns, sizeof(columns), "%-12d %-5s %8llu %6u", id, headerSize == LONG_EVENT_SIZE ? "long" : "short",
             static_cast<unsigned long long>(_bytes.offset + offset), count);
    _rows += columns;
    _observerCount += count;
    for (uint32_t i = 0; i < count && _observers != ObserverWords::NONE; ++i) {
        const uint32_t place = offset + headerSize + i * OBSERVER_SIZE;
        char word[48];
        snprintf(word, sizeof(word), "%s0x%08x", i == 0 ? "  " : " ",
                 static_cast<unsigned int>(Ostrel::loadU32(_bytes.data + place)));
        _rows += word;
        if (_observers == ObserverWords::OFFSETS)
            _rows += "@" + std::to_string(_bytes.offset + place);
    }
    _rows += '\n';
}

} // namespace

std::string showRegistry(const Bytes& bytes, ObserverWords observers, Faults* faults)
{
    return RegistryReader(bytes, observers, faults).run();
}

ExitStatus runRegistry(const Options& options)
{
    std::string storage;
    Bytes bytes;
    if (!readBytes(options.files[0], options.offset, &storage, &bytes))
        return EXIT_REFUSED;
    Faults faults;
    std::string shown = showRegistry(bytes, options.observers, &faults);
    flushTo(stdout, shown);
    faults.complain(options.files[0]);
    return faults.isEmpty() ? EXIT_GOOD : EXIT_REFUSED;
}

} // namespace Inspect
