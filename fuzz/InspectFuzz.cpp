// Any bytes as a map or a registry for the tool that shows them: it finds fault with what the library's checks refuse,
// and with nothing else, and whatever it finds, it shows.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fuzz/Judge.h"
#include "ostrel/PropertyMap.h"
#include "tools/ostrel-inspect/Commands.h"

using namespace Inspect; // NOLINT(google-build-using-namespace)

namespace {

void show(const MapTree& map, const Faults& faults)
{
    require(showMap(map, true).empty() == (map.bufferSize == 0) && !showMapAsJson(map, true).empty());
    Faults obstacles;
    const std::string json = convertToJson(map, &obstacles);
    if (!faults.isEmpty() || !obstacles.isEmpty())
        return;
    std::string form;
    require(convertFromJson("json", json, &form));
    const unsigned char* data = reinterpret_cast<const unsigned char*>(form.data());
    require(PropertyMap::isWellFormedExternalized(data, static_cast<unsigned int>(form.size()), nullptr));
    Faults none;
    require(convertToJson(readForm({data, form.size(), 0}, &none), &none) == json && none.isEmpty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || size > 100000)
        return 0;
    const unsigned int mode = *data++;
    std::string storage(reinterpret_cast<const char*>(data), --size);
    const unsigned int length = static_cast<unsigned int>(size);
    if (mode % 4 != 0 && size >= 8) { // else hardly an image gets past its header
        const uint32_t header[] = {length, length - 8 * (data[4] % (length / 8))};
        memcpy(&storage[0], header, sizeof(header));
    }
    const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(storage.data());

    Faults imageFaults;
    const MapTree image = readImage({bytes, size, 0}, &imageFaults);
    require(imageFaults.isEmpty() == PropertyMap::isWellFormed(bytes, length));
    show(image, imageFaults);

    Faults formFaults;
    const MapTree form = readForm({data, size, 0}, &formFaults);
    require(formFaults.isEmpty() == PropertyMap::isWellFormedExternalized(data, length, nullptr));
    show(form, formFaults);

    Faults registryFaults;
    showRegistry({data, size, 0}, ObserverWords::OFFSETS, &registryFaults);
    return 0;
}
