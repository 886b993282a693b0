#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/Observable/ObserverWord.h"
#include "ostrel/Observable/StaticModel.h"

/// An independent registry: what it holds is a list, and the bytes are written anew from it after every operation.
class RegistryModel
{
public:
    enum Operation { ADD_EVENT, ADD_OBSERVER, ADD_BOTH, REMOVE_OBSERVER, REMOVE_BOTH, REMOVE_EVENT, OPERATION_COUNT };

    explicit RegistryModel(unsigned int capacity) : _image(capacity, '\0') { writeImage(); }

    int apply(Operation operation, int id, Ostrel::Observer* observer)
    {
        const int code = change(operation, id, observer);
        writeImage();
        return code;
    }

    /// The whole buffer: what was freed keeps its bytes.
    const std::string& getImage() const { return _image; }

private:
    struct Event
    {
        bool isLong() const { return id < -32767 || id > 32766; }
        unsigned int getSize() const { return static_cast<unsigned int>((isLong() ? 8 : 4) + 4 * observers.size()); }

        int id;
        std::vector<Ostrel::Observer*> observers;
    };

    int change(Operation operation, int id, Ostrel::Observer* observer)
    {
        size_t at = 0;
        while (at < _events.size() && _events[at].id != id)
            ++at;
        const bool isKnown = at < _events.size();
        const Event added = {id, {}};
        if (operation == ADD_EVENT && !hasRoom(added.getSize()))
            return 2;
        if (operation == ADD_OBSERVER && !hasRoom(4))
            return 2;
        if (operation == ADD_BOTH && !hasRoom(isKnown ? 4 : added.getSize() + 4))
            return 2;
        if (!isKnown && operation != ADD_EVENT && operation != ADD_BOTH)
            return 3;
        if (!isKnown)
            _events.push_back(added);

        std::vector<Ostrel::Observer*>& observers = _events[at].observers;
        if (operation == ADD_OBSERVER || operation == ADD_BOTH)
            observers.push_back(observer);
        if (operation == REMOVE_OBSERVER || operation == REMOVE_BOTH) {
            size_t place = 0;
            while (place < observers.size() && observers[place] != observer)
                ++place;
            if (place == observers.size())
                return 1;
            observers.erase(observers.begin() + static_cast<long>(place));
        }
        if (operation == REMOVE_EVENT || (operation == REMOVE_BOTH && observers.empty()))
            _events.erase(_events.begin() + static_cast<long>(at));
        return 0;
    }

    unsigned int getUsedSize() const
    {
        unsigned int size = 4;
        for (const Event& event : _events)
            size += event.getSize();
        return size;
    }

    bool hasRoom(unsigned int bytes) const { return getUsedSize() + bytes <= _image.size(); }

    template <class Word>
    static std::string inHostOrder(Word word)
    {
        return std::string(reinterpret_cast<const char*>(&word), sizeof(word));
    }

    void writeImage()
    {
        std::string used = inHostOrder(static_cast<uint16_t>(getUsedSize()));
        used += inHostOrder(static_cast<uint16_t>(_image.size()));
        for (const Event& event : _events) {
            const unsigned int count = static_cast<unsigned int>(event.observers.size());
            if (event.isLong())
                used += std::string{char(count), char(count >> 8), char(count >> 16), char(count >> 24 | 0x80)} +
                        inHostOrder(int32_t{event.id});
            else
                used += inHostOrder(static_cast<int16_t>(event.id)) + std::string{char(count), char(count >> 8)};
            for (Ostrel::Observer* observer : event.observers)
                used += inHostOrder(Ostrel::observerWord(observer));
        }
        _image.replace(0, used.size(), used);
    }

    std::string _image;
    std::vector<Event> _events;
};

/// A registry in a heap block of exactly its size, at an odd address, beside its model.
class CheckedRegistry
{
public:
    explicit CheckedRegistry(uint16_t capacity)
        : _block(new char[capacity + 1u]), _model(capacity), _state(create(_block.get() + 1, capacity))
    {}

    Ostrel::StaticModelState* getState() const { return _state.get(); }

    int apply(RegistryModel::Operation operation, int id, Ostrel::Observer* observer)
    {
        _modelCode = _model.apply(operation, id, observer);
        return _code = run(operation, id, observer);
    }

    /// Whether the last code, and every byte of the buffer, are the model's.
    bool isAsModelled() const
    {
        return _code == _modelCode && memcmp(_block.get() + 1, _model.getImage().data(), _model.getImage().size()) == 0;
    }

private:
    static Ostrel::StaticModelState* create(char* buffer, uint16_t capacity)
    {
        memset(buffer, 0xAA, capacity);
        return Ostrel::StaticModel::create(buffer, capacity);
    }

    int run(RegistryModel::Operation operation, int id, Ostrel::Observer* observer)
    {
        using Ostrel::StaticModel;
        if (operation == RegistryModel::ADD_EVENT)
            return StaticModel::addEvent(_state.get(), id);
        if (operation == RegistryModel::REMOVE_EVENT)
            return StaticModel::removeEvent(_state.get(), id);
        const auto change = operation == RegistryModel::ADD_OBSERVER      ? StaticModel::addObserver
                            : operation == RegistryModel::ADD_BOTH        ? StaticModel::addEventAndObserver
                            : operation == RegistryModel::REMOVE_OBSERVER ? StaticModel::removeObserver
                                                                          : StaticModel::removeEventAndObserver;
        return change(_state.get(), id, observer);
    }

    std::unique_ptr<char[]> _block;
    RegistryModel _model;
    std::unique_ptr<Ostrel::StaticModelState> _state;
    int _code = 0;
    int _modelCode = 0;
};

/// For registries that are never notified.
class SilentObserver : public Ostrel::Observer
{
public:
    void notify(Ostrel::Observable*, const int&, const void*) override {}
};
