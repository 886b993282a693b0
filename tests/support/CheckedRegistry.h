#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/Observable/StaticModel.h"
#include "ostrel/internal/ObserverWord.h"

/// A registry in a heap block of exactly its size, at an odd address, beside an independent model: what is registered
/// is a list, and the bytes are written anew from it for every operation.
class CheckedRegistry
{
public:
    enum Operation { ADD_EVENT, ADD_OBSERVER, ADD_BOTH, REMOVE_OBSERVER, REMOVE_BOTH, REMOVE_EVENT, OPERATION_COUNT };

    explicit CheckedRegistry(uint16_t capacity) : _block(new char[capacity + 1u]), _image(capacity, '\0')
    {
        memset(_block.get(), 0xAA, capacity + 1u);
        _state.reset(Ostrel::StaticModel::create(_block.get() + 1, capacity));
        writeImage();
    }

    Ostrel::StaticModelState* getState() const { return _state.get(); }

    /// The code; -1 unless it, and every byte of the buffer, are the model's.
    int apply(Operation operation, int id, Ostrel::Observer* observer)
    {
        const int expected = change(operation, id, observer);
        writeImage();
        const int code = run(operation, id, observer);
        return code == expected && memcmp(_block.get() + 1, _image.data(), _image.size()) == 0 ? code : -1;
    }

private:
    struct Event
    {
        int id;
        std::vector<Ostrel::Observer*> observers;
    };

    static bool isLong(int id) { return id < -32767 || id > 32766; }

    int run(Operation operation, int id, Ostrel::Observer* observer)
    {
        using Ostrel::StaticModel;
        if (operation == ADD_EVENT || operation == REMOVE_EVENT)
            return (operation == ADD_EVENT ? StaticModel::addEvent : StaticModel::removeEvent)(_state.get(), id);
        const decltype(&StaticModel::addObserver) changes[] = {
            StaticModel::addObserver, StaticModel::addEventAndObserver, StaticModel::removeObserver,
            StaticModel::removeEventAndObserver};
        return changes[operation - ADD_OBSERVER](_state.get(), id, observer);
    }

    int change(Operation operation, int id, Ostrel::Observer* observer)
    {
        auto event = std::find_if(_events.begin(), _events.end(), [id](const Event& each) { return each.id == id; });
        const bool isKnown = event != _events.end();
        const bool takesHeader = operation == ADD_EVENT || (operation == ADD_BOTH && !isKnown);
        const size_t needed = (takesHeader ? (isLong(id) ? 8 : 4) : 0) + (operation == ADD_EVENT ? 0 : 4);
        if (operation <= ADD_BOTH && _usedSize + needed > _image.size())
            return 2;
        if (!isKnown && !takesHeader)
            return 3;
        if (!isKnown)
            event = _events.insert(event, {id, {}});

        std::vector<Ostrel::Observer*>& observers = event->observers;
        if (operation == ADD_OBSERVER || operation == ADD_BOTH)
            observers.push_back(observer);
        if (operation == REMOVE_OBSERVER || operation == REMOVE_BOTH) {
            const auto place = std::find(observers.begin(), observers.end(), observer);
            if (place == observers.end())
                return 1;
            observers.erase(place);
        }
        if (operation == REMOVE_EVENT || (operation == REMOVE_BOTH && observers.empty()))
            _events.erase(event);
        return 0;
    }

    template <class Word>
    static std::string inHostOrder(Word word)
    {
        return std::string(reinterpret_cast<const char*>(&word), sizeof(word));
    }

    /// Over the one before: what was freed keeps its bytes.
    void writeImage()
    {
        std::string entries;
        for (const Event& event : _events) {
            const auto count = static_cast<unsigned int>(event.observers.size());
            if (isLong(event.id))
                entries += std::string{char(count), char(count >> 8), char(count >> 16), char(count >> 24 | 0x80)} +
                           inHostOrder(int32_t{event.id});
            else
                entries += inHostOrder(static_cast<int16_t>(event.id)) + std::string{char(count), char(count >> 8)};
            for (Ostrel::Observer* observer : event.observers)
                entries += inHostOrder(Ostrel::observerWord(observer));
        }
        _usedSize = 4 + entries.size();
        entries =
            inHostOrder(static_cast<uint16_t>(_usedSize)) + inHostOrder(static_cast<uint16_t>(_image.size())) + entries;
        _image.replace(0, _usedSize, entries);
    }

    std::unique_ptr<char[]> _block;
    std::unique_ptr<Ostrel::StaticModelState> _state;
    std::vector<Event> _events;
    size_t _usedSize = 0;
    std::string _image;
};

/// For registries that are never notified.
class SilentObserver : public Ostrel::Observer
{
public:
    void notify(Ostrel::Observable*, const int&, const void*) override {}
};
