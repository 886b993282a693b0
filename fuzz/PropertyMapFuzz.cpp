// A sequence of operations decoded from the input, the whole buffer checked after each.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "fuzz/PropertyMapUse.h"

namespace {

class Input
{
public:
    Input(const uint8_t* data, size_t size) : _next(data), _end(data + size) {}

    bool isEmpty() const { return _next == _end; }
    unsigned int take() { return isEmpty() ? 0 : *_next++; }
    int takeKey()
    {
        const unsigned int key = take();
        return static_cast<int>((key & 15) | (key & 0xF0) << 24);
    }

private:
    const uint8_t* _next;
    const uint8_t* _end;
};

PropertyMap_ReturnCode change(PropertyMap& map, bool isNew, unsigned int type, int key, unsigned int amount)
{
    static const std::vector<unsigned char> DATA(256, 'x');
    unsigned char nestedBytes[300];
    const std::string text(amount, 'y');
    const double number = amount / 3.0;
    switch (type) {
    case 0:
        return isNew ? map.insert(key, amount > 127) : map.set(key, amount > 127);
    case 1:
        return isNew ? map.insert(key, -static_cast<int>(amount)) : map.set(key, -static_cast<int>(amount));
    case 2:
        return isNew ? map.insert(key, static_cast<float>(number)) : map.set(key, static_cast<float>(number));
    case 3:
        return isNew ? map.insert(key, number) : map.set(key, number);
    case 4:
        return isNew ? map.insert(key, text.c_str()) : map.set(key, text.c_str());
    case 5:
        return isNew ? map.insert(key, DATA.data(), amount) : map.set(key, DATA.data(), amount);
    default:
        PropertyMap nested(nestedBytes, 8 + amount);
        nested.insert(key, true);
        return isNew ? map.insert(key, nested) : map.set(key, nested);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    std::vector<unsigned char> buffer(8 + 4 * input.take());
    PropertyMap map(buffer.data(), static_cast<unsigned int>(buffer.size()));
    std::map<int, unsigned int> types;
    while (!input.isEmpty()) {
        const unsigned int action = input.take();
        const int key = input.takeKey();
        const unsigned int type = action / 4 % 7;
        const std::vector<unsigned char> before = buffer;
        const bool known = types.count(key) != 0;
        PropertyMap_ReturnCode code;
        if (action % 4 == 3) {
            code = map.removeKey(key);
            require(code == (known ? PM_RC_OK : PM_RC_KEY_NOT_FOUND));
            types.erase(key);
        } else {
            const bool isNew = action % 4 != 2;
            code = change(map, isNew, type, key, input.take());
            if (code == PM_RC_OK)
                types[key] = type;
            require((code == PM_RC_KEY_EXISTS) == (isNew && known));
            require((code == PM_RC_KEY_NOT_FOUND) == (!isNew && !known));
        }
        require(code == PM_RC_OK || buffer == before);
        require(PropertyMap::isWellFormed(buffer.data(), static_cast<unsigned int>(buffer.size())));
        require(map.getNumEntries() == types.size());
        for (PropertyMap::Iterator i = map.begin(); i != map.end(); ++i)
            require(types.at(i.getKey()) == static_cast<unsigned int>(i.getType()));
    }
    useAndDumpMap(buffer.data());
    return 0;
}
