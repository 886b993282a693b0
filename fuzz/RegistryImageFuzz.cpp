// Any bytes as a registry: with what the tool finds no fault in, every operation is safe, and leaves a registry that is
// again without one and holds what a plain list says.
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/Judge.h"
#include "ostrel/Observable/StaticModel.h"
#include "ostrel/Unaligned.h"
#include "ostrel/internal/ObserverWord.h"
#include "tools/ostrel-inspect/Commands.h"

using namespace Ostrel;

namespace {

struct SilentObserver : Observer
{
    void notify(Observable*, const int&, const void*) override {}
};

struct Event
{
    int id;
    std::vector<uint32_t> words;
    bool operator==(const Event& other) const { return id == other.id && words == other.words; }
};

class Image
{
public:
    explicit Image(const std::string& bytes) : _buffer(new char[bytes.size()]), _size(bytes.size())
    {
        std::copy(bytes.begin(), bytes.end(), _buffer.get());
        _state.buffer = _buffer.get();
    }

    bool isSound() const
    {
        Inspect::Faults faults;
        const auto* const bytes = reinterpret_cast<const unsigned char*>(_buffer.get());
        Inspect::showRegistry({bytes, _size, 0}, Inspect::ObserverWords::OFFSETS, &faults);
        return faults.isEmpty();
    }

    std::vector<Event> read()
    {
        std::vector<Event> events;
        for (auto event = StaticModel::begin(&_state); event != StaticModel::end(&_state); ++event) {
            events.push_back({event.getId(), {}});
            for (auto slot = event.begin(); slot != event.end(); ++slot)
                events.back().words.push_back(loadU32(slot.getSlot()));
        }
        return events;
    }

    StaticModelState* getState() { return &_state; }

private:
    std::unique_ptr<char[]> _buffer;
    size_t _size;
    StaticModelState _state = {};
};

size_t getHeaderSize(int id)
{
    return StaticModel::isBigInt(id) ? 8 : 4;
}

Observable_ReturnCode change(std::vector<Event>& events, unsigned int operation, int id, uint32_t word, size_t room)
{
    const auto event = std::find_if(events.begin(), events.end(), [=](const Event& each) { return each.id == id; });
    const bool isKnown = event != events.end();
    if (operation < 2) {
        if (room < (operation == 0 ? getHeaderSize(id) : (isKnown ? 4 : getHeaderSize(id) + 4)))
            return OBSERVABLE_INSUFFICIENT_MEMORY;
        Event& entry = isKnown ? *event : *events.insert(events.end(), {id, {}});
        if (operation == 1)
            entry.words.push_back(word);
        return OBSERVABLE_OK;
    }
    if (!isKnown)
        return OBSERVABLE_EVENT_NOT_FOUND;
    if (operation == 2) {
        events.erase(event);
        return OBSERVABLE_OK;
    }
    const auto place = std::find(event->words.begin(), event->words.end(), word);
    if (place == event->words.end())
        return OBSERVABLE_OBSERVER_NOT_FOUND;
    event->words.erase(place);
    if (operation == 3 && event->words.empty())
        events.erase(event);
    return OBSERVABLE_OK;
}

Observable_ReturnCode change(StaticModelState* state, unsigned int operation, int id, Observer* observer)
{
    if (operation == 0)
        return StaticModel::addEvent(state, id);
    if (operation == 1)
        return StaticModel::addEventAndObserver(state, id, observer);
    if (operation == 2)
        return StaticModel::removeEvent(state, id);
    return (operation == 3 ? StaticModel::removeEventAndObserver : StaticModel::removeObserver)(state, id, observer);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static SilentObserver observers[3]; // their words are likely ones
    Choices choices(data, size);
    std::string operations = choices.bytes(choices.below(64));
    std::string bytes = choices.bytes(size);
    if (bytes.size() >= 12 && operations.size() % 4 != 0) { // else hardly an image gets past its header
        const uint16_t header[] = {static_cast<uint16_t>(4 + operations[0] % 64 % (bytes.size() - 3)),
                                   static_cast<uint16_t>(bytes.size())};
        memcpy(&bytes[0], header, sizeof(header));
    }
    Image image(bytes);
    if (!image.isSound())
        return 0;
    std::vector<Event> events = image.read();
    for (const char operation : operations) {
        const auto code = static_cast<unsigned char>(operation);
        const unsigned int target = code / 5 % 17;
        const int id = target < events.size() ? events[target].id : target == 16 ? INT32_MIN : static_cast<int>(target);
        Observer* const observer = &observers[code / 85];
        const size_t room = StaticModel::capacity(image.getState()) - StaticModel::size(image.getState());
        require(change(image.getState(), code % 5, id, observer) ==
                change(events, code % 5, id, observerWord(observer), room));
        require(image.isSound() && image.read() == events);
    }
    return 0;
}
