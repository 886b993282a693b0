#include "ostrel/TextGenerator.h"

#include <cstdlib>

namespace Ostrel {

namespace {

const uint64_t GROWTH_STEP = 32;
const uint64_t LARGEST_EXACT_BLOCK = 1024;

/// What is allocated for a capacity. Large buffers have up to an eighth of hidden room, so that a long text, which
/// grows by small steps, seldom moves; it follows from the capacity and is kept nowhere.
uint64_t getBlockSize(uint64_t capacity)
{
    if (capacity <= LARGEST_EXACT_BLOCK)
        return capacity;
    const uint64_t step = uint64_t{1} << (60 - __builtin_clzll(capacity)); // an eighth of its highest bit
    const uint64_t size = (capacity + step - 1) & ~(step - 1);
    return size > UINT32_MAX ? capacity : size;
}

const char* const STATUS_TEXTS[] = {
    "Initialized",
    "Starting object",
    "Insided object", // see docs/compatibility.md
    "Starting array",
    "Inside array",
    "Done",
    "Out of memory",
    "Unexpected key/value",
    "Expected key/value",
    "Unexpected data after done",
    "Unexpected end",
    "Maximum object depth exceeded",
    "Internal error",
};

} // namespace

TextGenerator::~TextGenerator()
{
    free(_buffer);
}

const char* TextGenerator::getStatusString(Status status)
{
    return status < sizeof(STATUS_TEXTS) / sizeof(STATUS_TEXTS[0]) ? STATUS_TEXTS[status] : nullptr;
}

bool TextGenerator::growBuffer(unsigned int size)
{
    // A size of 0 would make realloc free the buffer that we go on using.
    return growForText(size == 0 ? 1 : size);
}

bool TextGenerator::growForText(uint64_t size)
{
    const uint64_t capacity = (size + GROWTH_STEP - 1) & ~(GROWTH_STEP - 1);
    if (_buffer == nullptr || getBlockSize(capacity) != getBlockSize(_capacity)) {
        char* const buffer =
            capacity > UINT32_MAX ? nullptr : static_cast<char*>(realloc(_buffer, getBlockSize(capacity)));
        if (buffer == nullptr) {
            setStatus(OUT_OF_MEMORY);
            return false;
        }
        _buffer = buffer;
    }
    _capacity = static_cast<unsigned int>(capacity);
    return true;
}

void TextGenerator::restart()
{
    _length = 0;
    _depth = 0;
    setStatus(INITIALIZED);
}

void TextGenerator::terminate()
{
    const uint64_t size = uint64_t{_length} + 1;
    if (size >= _capacity && !growForText(size))
        return;
    _buffer[_length] = '\0';
}

bool TextGenerator::refuse()
{
    if (getStatus() == DONE)
        setStatus(UNEXPECTED_DATA_AFTER_DONE);
    return false;
}

bool TextGenerator::refuse(Status status)
{
    if (isOk())
        setStatus(status);
    return false;
}

} // namespace Ostrel
