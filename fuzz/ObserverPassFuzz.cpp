// Observers that change the registrations, notify again and throw while a pass is under way, all as a script has it,
// beside plain lists: each pass goes on at the place it had reached in the list as it is then.
#include <map>
#include <memory>
#include <vector>

#include "fuzz/Judge.h"
#include "ostrel/Observable/Observable.h"

using namespace Ostrel;

namespace {

const int EVENTS[] = {1, -5, 40000};

class Stage
{
public:
    explicit Stage(Choices& script);

    void play()
    {
        while (!_script.isEmpty()) {
            try {
                act(4);
            } catch (int) {
                _passes.clear();
            }
        }
    }

    void receive(const Observable* source, int event, const void* params, int actor)
    {
        Pass& pass = _passes.back();
        require(source == &_observable && event == pass.event && params == this);
        const std::vector<int>& list = _lists[event];
        require(pass.place < list.size() && list[pass.place] == actor);
        ++pass.place;
        for (unsigned int count = _script.below(4); count > 0; --count)
            act(5);
    }

private:
    struct Actor : Observer
    {
        void notify(Observable* source, const int& event, const void* params) override
        {
            stage->receive(source, event, params, number);
        }
        Stage* stage = nullptr;
        int number = 0;
    };

    struct Pass
    {
        int event;
        size_t place;
    };

    static size_t getHeaderSize(int event) { return event == 40000 ? 8 : 4; }

    size_t getUsedSize() const
    {
        size_t size = 4;
        for (const auto& [event, list] : _lists)
            size += list.empty() ? 0 : getHeaderSize(event) + 4 * list.size();
        return size;
    }

    void act(unsigned int kinds)
    {
        const unsigned int kind = _script.below(kinds);
        const int event = EVENTS[_script.below(3)];
        const int actor = static_cast<int>(_script.below(4));
        if (kind < 2)
            add(event, actor);
        else if (kind == 2)
            remove(event, actor);
        else if (kind == 3)
            notify(event);
        else if (_script.below(8) == 7)
            throw 1;
    }

    void add(int event, int actor)
    {
        std::vector<int>& list = _lists[event];
        const bool fits = getUsedSize() + 4 + (list.empty() ? getHeaderSize(event) : 0) <= _size;
        const Observable_ReturnCode code = _observable.addObserver(event, &_actors[actor]);
        require(code == (fits ? OBSERVABLE_OK : OBSERVABLE_INSUFFICIENT_MEMORY));
        if (fits)
            list.push_back(actor);
    }

    void remove(int event, int actor)
    {
        std::vector<int>& list = _lists[event];
        const auto place = std::find(list.begin(), list.end(), actor);
        const Observable_ReturnCode code = _observable.removeObserver(event, &_actors[actor]);
        require(code == (list.empty()          ? OBSERVABLE_EVENT_NOT_FOUND
                         : place == list.end() ? OBSERVABLE_OBSERVER_NOT_FOUND
                                               : OBSERVABLE_OK));
        if (place != list.end())
            list.erase(place);
    }

    void notify(int event)
    {
        if (_passes.size() == 4)
            return;
        _passes.push_back({event, 0});
        require(_observable.notifyObservers(event, this) == OBSERVABLE_OK);
        require(_passes.back().place >= _lists[event].size());
        _passes.pop_back();
    }

    Choices& _script;
    const unsigned short _size;
    std::unique_ptr<char[]> _buffer;
    Observable _observable;
    Actor _actors[4];
    std::map<int, std::vector<int>> _lists;
    std::vector<Pass> _passes;
};

Stage::Stage(Choices& script)
    : _script(script),
      _size(static_cast<unsigned short>(12 + script.below(256))),
      _buffer(new char[_size]),
      _observable(nullptr, AutoPtr<ObservableImplementation>(new PiloObservableImpl(_buffer.get(), _size)))
{
    for (int i = 0; i < 4; ++i) {
        _actors[i].stage = this;
        _actors[i].number = i;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices script(data, size);
    Stage(script).play();
    return 0;
}
