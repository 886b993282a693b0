#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "ostrel/PropertyMapView.h"
#include "tests/support/PropertyMapSample.h"
#include "tests/support/TestIncludes.h"

namespace {

/// The last bytes before a page that cannot be touched, shared with the processes that are made from now on.
class SharedBytes
{
public:
    explicit SharedBytes(const std::string& bytes) : size(static_cast<unsigned int>(bytes.size()))
    {
        mprotect(_pages + PAGES_SIZE, PAGES_SIZE, PROT_NONE);
        bytes.copy(reinterpret_cast<char*>(data), size);
    }
    ~SharedBytes() { munmap(_pages, 2 * PAGES_SIZE); }
    SharedBytes(const SharedBytes&) = delete;
    SharedBytes& operator=(const SharedBytes&) = delete;

    std::string copy() const { return std::string(data, data + size); }

private:
    static constexpr size_t PAGES_SIZE = 65536;
    unsigned char* const _pages = static_cast<unsigned char*>(
        mmap(nullptr, 2 * PAGES_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

public:
    const unsigned int size;
    unsigned char* const data = _pages + PAGES_SIZE - size;
};

/// Changes bytes near both ends for ever, and makes all of them what they were now and then.
[[noreturn]] void keepChanging(const SharedBytes& bytes)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string original = bytes.copy();
    auto* const target = static_cast<volatile unsigned char*>(bytes.data);
    for (std::minstd_rand random;;) {
        const size_t distance = random() % std::min(bytes.size, 200U);
        const size_t place = random() % 2 == 0 ? distance : bytes.size - 1 - distance;
        target[place] = static_cast<unsigned char>(random() % 2 == 0 ? random() : 0xFF * (random() % 2));
        if (random() % 4 == 0)
            original.copy(reinterpret_cast<char*>(bytes.data), bytes.size);
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
        const bool isMap = bytes.size() == image.size();
        const SharedBytes shared(bytes);
        const pid_t child = fork();
        if (child == 0)
            keepChanging(shared);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(CHANGING_SECONDS);
        unsigned int answers[2] = {0, 0};
        while (std::chrono::steady_clock::now() < end || answers[0] == 0 || answers[1] == 0) {
            const bool isAccepted = isMap ? PropertyMap::isWellFormed(shared.data, shared.size)
                                          : PropertyMap::isWellFormedExternalized(shared.data, shared.size, nullptr);
            ++answers[isMap ? isCopyAccepted(shared.copy()) : isAccepted];
        }
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}
