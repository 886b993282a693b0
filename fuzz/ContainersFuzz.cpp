// Lookup tables and lists beside those of the standard library.
#include <map>
#include <strings.h>
#include <vector>

#include "fuzz/Judge.h"
#include "ostrel/ArrayList.h"
#include "ostrel/DynamicLookupTable.h"
#include "ostrel/List.h"

namespace {

struct Caseless
{
    bool operator()(const std::string& a, const std::string& b) const { return strcasecmp(a.c_str(), b.c_str()) < 0; }
};

/// Few letters, so that keys meet again.
std::string pickKey(Choices& choices)
{
    static const char LETTERS[] = "aAbB[\xE4\xC4";
    std::string key;
    for (unsigned int length = choices.below(4); length > 0; --length)
        key += LETTERS[choices.below(7)];
    return key;
}

void useTextTable(Choices& choices)
{
    Ostrel::DynamicLookupTable<int, const char*> table;
    std::map<std::string, int, Caseless> model;
    for (unsigned int steps = choices.below(100); steps > 0; --steps) {
        const std::string key = pickKey(choices);
        const auto known = model.find(key);
        const int value = known == model.end() ? 0 : known->second;
        require(table.has(key.c_str()) == (known != model.end()) && table.get(key.c_str()) == value);
        if (choices.below(3) == 0) {
            require(table.remove(key.c_str()) == value);
            model.erase(key);
        } else {
            int previous = -1;
            require(table.set(key.c_str(), static_cast<int>(steps), &previous) == 0 && previous == value);
            model[key] = static_cast<int>(steps);
        }
        require(table.getSize() == model.size());
        auto entry = table.begin();
        for (const auto& [text, number] : model) { // which keeps the first spelling, too
            require(entry->key == text && entry->value == number);
            ++entry;
        }
        require(table.findNearestIndex(key.c_str()) == std::distance(model.begin(), model.lower_bound(key)));
    }
}

void useNumberTable(Choices& choices)
{
    Ostrel::DynamicLookupTable<std::string, int> table;
    std::map<int, std::string> model;
    for (unsigned int steps = choices.below(100); steps > 0; --steps) {
        const int key = static_cast<int>(choices.below(32)) - 9;
        const std::string value = model.count(key) == 0 ? "" : model[key];
        require(table.get(key) == value);
        if (choices.below(3) == 0) {
            require(table.remove(key) == value);
            model.erase(key);
        } else {
            require(table.set(key, std::to_string(steps)) == 0);
            model[key] = std::to_string(steps);
        }
        require(table.getSize() == model.size() &&
                std::equal(model.begin(), model.end(), table.begin(),
                           [](const auto& a, const auto& b) { return a.first == b.key && a.second == b.value; }));
    }
}

void useArrayList(Choices& choices, Ostrel::ArrayList<std::string>& list, size_t most)
{
    std::vector<std::string> model;
    const std::string longText(40, 'x');
    for (unsigned int steps = choices.below(256); steps > 0; --steps) {
        const unsigned int index = choices.below(256);
        const unsigned int action = choices.below(8);
        const std::string value = index % 2 == 0 ? longText + std::to_string(steps) : std::to_string(steps);
        if (action < 3) {
            require(list.append(value) == (model.size() < most ? 0 : 2));
            if (model.size() < most)
                model.push_back(value);
        } else if (action == 3 && index < model.size()) { // one of its own
            require(list.append(list[index]) == (model.size() < most ? 0 : 2));
            if (model.size() < most)
                model.push_back(std::string(model[index]));
        } else if (action < 6) {
            const bool fits = index <= model.size() && model.size() < most;
            require(list.insert(index, value) == (fits ? 0 : 2));
            if (fits)
                model.insert(model.begin() + index, value);
        } else if (action == 6) {
            require(list.remove(index) == (index < model.size() ? 0 : 2));
            if (index < model.size())
                model.erase(model.begin() + index);
        } else if (index == 0) {
            list.clear();
            model.clear();
        }
        require(std::equal(model.begin(), model.end(), list.begin(), list.end()));
        require(list.getSize() <= list.getCapacity());
        require(model.empty() ? list[index].empty() : list[index] == model[std::min<size_t>(index, model.size() - 1)]);
    }
}

struct Node : Ostrel::SListNode
{
    void onUnlinked() override { ++unlinked; }
    int unlinked = 0;
};

Ostrel::SListBase::BaseIterator findPlace(const Ostrel::SListBase& list, unsigned int index)
{
    auto place = list.begin();
    while (index-- > 0)
        place.next();
    return place;
}

void useLinkedList(Choices& choices)
{
    Node nodes[8];
    Ostrel::SListBase list;
    std::vector<Ostrel::SListNode*> model;
    for (unsigned int steps = choices.below(256); steps > 0; --steps) {
        Node& node = nodes[choices.below(8)];
        const unsigned int index = choices.below(9);
        const unsigned int action = choices.below(8);
        const auto known = std::find(model.begin(), model.end(), &node);
        if (known != model.end()) {
            if (action < 3) {
                require(list.remove(node, findPlace(list, index)) == &node);
                model.erase(known);
            }
        } else if (action == 0) {
            require(list.remove(node, findPlace(list, index)) == nullptr);
        } else if (action < 3) {
            list.pushFront(node);
            model.insert(model.begin(), &node);
        } else if (action < 5) {
            list.pushBack(node);
            model.push_back(&node);
        } else if (index + 1 < model.size()) {
            list.insert(node, findPlace(list, index));
            model.insert(model.begin() + index + 1, &node);
        }
        if (action == 6 && index > 4) {
            require(list.popFront() == (model.empty() ? nullptr : model.front()));
            model.erase(model.begin(), model.begin() + !model.empty());
        } else if (action == 6) {
            require(list.popBack() == (model.empty() ? nullptr : model.back()));
            model.resize(model.size() - !model.empty());
        } else if (action == 7 && index == 8) {
            list.empty();
            model.clear();
        }
        auto place = list.begin();
        for (const Ostrel::SListNode* expected : model) {
            require(place.get() == expected);
            place.next();
        }
        require(!place.isValid() && list.isEmpty() == model.empty());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    while (!choices.isEmpty()) {
        useTextTable(choices);
        useNumberTable(choices);
        Ostrel::DynamicArrayList<std::string, 3> growing;
        useArrayList(choices, growing, SIZE_MAX);
        Ostrel::FixedArrayList<std::string, 5> fixed;
        useArrayList(choices, fixed, 5);
        useLinkedList(choices);
    }
    return 0;
}
