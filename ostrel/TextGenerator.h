#pragma once

#include <cstdint>

#include "ostrel/Export.h"
#include "ostrel/StructBuilder.h"

namespace Ostrel {

/// What the generators of structured text have in common: one growing buffer and a status per open level.
///
/// Not used by itself: see `json::JsonGen` and `xml::XmlGen`. The order of the calls is checked by a small state
/// machine; a caller who forgets a key, goes on after the end or nests too deeply finds a status that says so instead
/// of broken text.
///
/// Errors:    an error is kept as the status of the current level, which from then on ignores every call; ask for it
///            once, at the end. Nothing is reported.
class OSTREL_EXPORT TextGenerator
{
public:
    /// How far a level is, or what went wrong in it.
    enum Status : unsigned char {
        INITIALIZED = 0,
        STARTING_OBJECT = 1,
        INSIDE_OBJECT = 2,
        STARTING_ARRAY = 3,
        INSIDE_ARRAY = 4,
        DONE = 5,
        OUT_OF_MEMORY = 6, ///< The first error; those below are healthy.
        UNEXPECTED_KEY_VALUE = 7,
        EXPECTED_KEY_VALUE = 8,
        UNEXPECTED_DATA_AFTER_DONE = 9,
        UNEXPECTED_END = 10,
        MAXIMUM_DEPTH_EXCEEDED = 11,
        INTERNAL_ERROR = 12
    };

    using NullType = StructBuilder::NullType; ///< Selects the overloads that add a null.

    static constexpr unsigned int MAXIMUM_DEPTH = 15; ///< Collections that can be open at once.

    TextGenerator(const TextGenerator&) = delete;
    TextGenerator& operator=(const TextGenerator&) = delete;

    /// Makes the capacity `size` rounded up to a multiple of 32; `size` is at least the length of the text. When it
    /// fails the buffer stays and the status is `OUT_OF_MEMORY`.
    bool growBuffer(unsigned int size);

    Status getStatus() const { return static_cast<Status>(_states[_depth]); } ///< That of the current level.
    bool isOk() const { return getStatus() < OUT_OF_MEMORY; }
    const char* getStatusString() const { return getStatusString(getStatus()); }
    static const char* getStatusString(Status status); ///< Null for a code that is none.

    unsigned int getDepth() const { return _depth; }
    unsigned int getLength() const { return _length; }
    const char* getData() const { return _buffer; } ///< Not terminated; null before the first byte.

protected:
    /// Where a value goes.
    enum Placement {
        PLACE_REFUSED, ///< Nowhere; the status says why.
        PLACE_FIRST,   ///< Without a separator.
        PLACE_NEXT     ///< Behind an earlier member or element.
    };

    TextGenerator() = default;
    ~TextGenerator();

    OSTREL_LOCAL void restart();   ///< Keeps the buffer, its capacity and the statuses of upper levels.
    OSTREL_LOCAL void terminate(); ///< Puts a NUL behind the text, which is not counted; none when memory is exhausted.

    /// Where a value without a key goes; inside an object that is an error.
    Placement placeValue()
    {
        if (!isInObject())
            return place();
        setStatus(EXPECTED_KEY_VALUE);
        return PLACE_REFUSED;
    }

    /// Where a value with its key goes; outside an object that is an error.
    Placement placeMember()
    {
        if (isInObject())
            return place();
        refuse(UNEXPECTED_KEY_VALUE);
        return PLACE_REFUSED;
    }

    /// Keys are not asked for.
    Placement place()
    {
        if (!checkOpen())
            return PLACE_REFUSED;
        const Status status = getStatus();
        if (status != STARTING_OBJECT && status != STARTING_ARRAY)
            return status == INITIALIZED ? PLACE_FIRST : PLACE_NEXT;
        setStatus(status == STARTING_OBJECT ? INSIDE_OBJECT : INSIDE_ARRAY);
        return PLACE_FIRST;
    }

    /// False, with the status set where it has none of the errors yet, unless more may follow.
    bool checkOpen() { return getStatus() < DONE || refuse(); }

    /// The same for a collection: keys are given in objects only, not too many levels are open, and `type` is
    /// STARTING_OBJECT or STARTING_ARRAY; any other opens a level that is in error.
    bool checkCollection(const char* key, Status type)
    {
        if (!checkOpen())
            return false;
        if (key != nullptr && !isInObject())
            return refuse(UNEXPECTED_KEY_VALUE);
        // Too deep: takes the place of the innermost level's status, so that nothing closes any more.
        if (_depth == MAXIMUM_DEPTH)
            return refuse(MAXIMUM_DEPTH_EXCEEDED);
        if (type == STARTING_OBJECT || type == STARTING_ARRAY)
            return true;
        openLevel(INTERNAL_ERROR);
        return false;
    }

    /// Enters a collection, which begins with `status`.
    void openLevel(Status status)
    {
        ++_depth;
        setStatus(status);
    }

    void closeLevel() { --_depth; } ///< Back to the level around it, whose status is as it was.

    /// To be called after each attempt to write a value: one value at document level is the whole document. Out of
    /// memory turns into done too, so at document level a failed allocation shows in the text alone.
    void complete()
    {
        if (_depth == 0)
            setStatus(DONE);
    }

    bool isInObject() const { return getStatus() == STARTING_OBJECT || getStatus() == INSIDE_OBJECT; }
    void setStatus(Status status) { _states[_depth] = status; } ///< Of the current level.

    /// Makes room for `size` more bytes and at least one spare, for a terminator.
    bool reserve(uint64_t size) { return _length + size < _capacity || growForText(_length + size + 1); }

    /// Appends pieces of text: things with `uint64_t getSize()` and `char* writeTo(char*)`, which returns the end.
    template <class... Pieces>
    OSTREL_LOCAL void write(const Pieces&... pieces);

private:
    bool refuse();              ///< For a status that lets nothing follow.
    bool refuse(Status status); ///< Errors stay as they are.
    bool growForText(uint64_t size);

    template <class... Pieces>
    OSTREL_LOCAL void append(const Pieces&... pieces);
    template <class Piece>
    OSTREL_LOCAL void writeAlone(const Piece& piece);

    unsigned char _states[MAXIMUM_DEPTH + 1] = {};
    unsigned int _depth = 0;
    unsigned int _length = 0;
    unsigned int _capacity = 0;
    char* _buffer = nullptr;
};

} // namespace Ostrel
