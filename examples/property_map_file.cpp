// A property map on its way through a file that hosts of either byte order write and read:
//
//     property_map_file write settings.bin
//     property_map_file read settings.bin
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "ostrel/DynamicPropertyMap.h"

namespace {

enum Key {
    KEY_FACTORY_CODE = -1,
    KEY_NAME = 1,
    KEY_MTU = 2,
    KEY_GAIN = 3,
    KEY_BALANCE = 4,
    KEY_DHCP = 5,
    KEY_MAC = 6,
    KEY_DISPLAY = 7,
    KEY_BRIGHTNESS = 100
};

bool write(const char* path)
{
    unsigned char displayBuffer[64];
    PropertyMap display(displayBuffer, sizeof(displayBuffer));
    display.insert(KEY_BRIGHTNESS, 80);

    const unsigned char mac[] = {0x02, 0x00, 0x5E, 0x10, 0x00, 0x01};
    unsigned char buffer[512];
    PropertyMap map(buffer, sizeof(buffer));
    map.insert(KEY_NAME, "kitchen");
    map.insert(KEY_MTU, 1500);
    map.insert(KEY_GAIN, 0.5f);
    map.insert(KEY_BALANCE, -0.1);
    map.insert(KEY_DHCP, true);
    map.insert(KEY_MAC, mac, sizeof(mac));
    map.insert(KEY_DISPLAY, display);
    map.insert(KEY_FACTORY_CODE, 0x12345678);

    std::vector<unsigned char> form(map.externalize(nullptr, 0));
    map.externalize(form.data(), static_cast<unsigned int>(form.size()));
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(form.data()), static_cast<std::streamsize>(form.size()));
    return file.good();
}

bool read(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const unsigned char* form = reinterpret_cast<const unsigned char*>(bytes.data());

    // The bytes come from outside, so they are checked once; from then on they can be trusted.
    if (!PropertyMap::isWellFormedExternalized(form, static_cast<unsigned int>(bytes.size()), nullptr))
        return false;
    std::vector<unsigned char> buffer(PropertyMap::externalizedSize(form));
    PropertyMap map(buffer.data(), static_cast<unsigned int>(buffer.size()));
    if (map.initialize(&form) != PM_RC_OK)
        return false;
    map.printContent();
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 3 && strcmp(argv[1], "write") == 0)
        return write(argv[2]) ? 0 : 1;
    if (argc == 3 && strcmp(argv[1], "read") == 0)
        return read(argv[2]) ? 0 : 1;
    fprintf(stderr, "usage: %s write|read FILE\n", argv[0]);
    return 2;
}
