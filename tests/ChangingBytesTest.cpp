#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "ostrel/PropertyMapView.h"
#include "tests/support/PropertyMapSample.h"
#include "tests/support/TestIncludes.h"

namespace {

/// The last bytes before a page that cannot be touched, shared with the processes that are made from now on.
unsigned char* share(const std::string& bytes)
{
    const size_t SIZE = 65536; // whole pages everywhere
    void* const pages = mmap(nullptr, 2 * SIZE, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    unsigned char* const end = static_cast<unsigned char*>(pages) + SIZE;
    mprotect(end, SIZE, PROT_NONE);
    bytes.copy(reinterpret_cast<char*>(end - bytes.size()), bytes.size());
    return end - bytes.size();
}

/// Changes bytes near both ends for ever, and now and then leaves all of them as they were for a moment.
[[noreturn]] void keepChanging(volatile unsigned char* bytes, const std::string& original)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (std::minstd_rand random;;) {
        const size_t distance = random() % std::min<size_t>(150, original.size());
        const size_t place = random() % 2 == 0 ? distance : original.size() - 1 - distance;
        bytes[place] = static_cast<unsigned char>(random() % 2 == 0 ? random() : 0xFF * (random() % 2));
        if (random() % 4 != 0)
            continue;
        for (size_t i = 0; i < original.size(); ++i)
            bytes[i] = static_cast<unsigned char>(original[i]);
        for (size_t moment = random() % 20000; moment > 0; --moment)
            static_cast<void>(bytes[0]);
    }
}

/// What is accepted in a copy can be used, whatever it is.
bool isCopyAccepted(const std::string& copy)
{
    const auto* const data = reinterpret_cast<const unsigned char*>(copy.data());
    if (!PropertyMap::isWellFormed(data, static_cast<unsigned int>(copy.size())))
        return false;
    const PropertyMapView map(data);
    for (PropertyMap::Iterator i = map.begin(); i != map.end(); ++i)
        EXPECT_TRUE(map.hasKey(i.getKey()) && i.getDataSize() <= copy.size());
    EXPECT_GE(map.getUnusedSpace() + map.externalize(nullptr, 0), map.getEmptySpace());
    return true;
}

} // namespace

TEST(ChangingBytesTest, ChecksStayInsideAndEndWhileAnotherProcessWrites)
{
    const PropertyMapSample sample;
    std::string image(41000, '\0');
    PropertyMap map(reinterpret_cast<unsigned char*>(&image[0]), 41000);
    map.insert(1, sample.map);
    map.insert(2, nullptr, 40000); // more than is checked without the heap
    map.insert(3, "out");
    for (const std::string& bytes : {image, std::string(std::begin(sample.FORM), std::end(sample.FORM))}) {
        const auto size = static_cast<unsigned int>(bytes.size());
        unsigned char* const shared = share(bytes);
        const pid_t child = fork();
        if (child == 0)
            keepChanging(shared, bytes);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(CHANGING_SECONDS);
        unsigned int answers[2] = {0, 0};
        while (std::chrono::steady_clock::now() < end || answers[0] == 0 || answers[1] == 0) {
            const bool isForm = PropertyMap::isWellFormedExternalized(shared, size, nullptr);
            PropertyMap::isWellFormed(shared, size);
            ++answers[isForm || isCopyAccepted(std::string(shared, shared + size))];
        }
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}
