#pragma once

#include <vector>

#include "ostrel/TextGenerator.h"

/// The statuses of a text generator, one for each open level, and whether a call writes anything.
class GeneratorModel
{
public:
    using Generator = Ostrel::TextGenerator;
    using Status = Generator::Status;

    Status getStatus() const { return _levels.back(); }
    unsigned int getDepth() const { return static_cast<unsigned int>(_levels.size()) - 1; }
    bool isInObject() const
    {
        return getStatus() == Generator::STARTING_OBJECT || getStatus() == Generator::INSIDE_OBJECT;
    }

    void reset() { _levels = {Generator::INITIALIZED}; }

    /// A value without a key, or one with it.
    bool add(bool hasKey)
    {
        if (getStatus() > Generator::DONE)
            return false;
        if (hasKey && !isInObject())
            return refuse(Generator::UNEXPECTED_KEY_VALUE);
        if (!hasKey && isInObject())
            return refuse(Generator::EXPECTED_KEY_VALUE);
        return place();
    }

    /// A value that has its key in itself, where it needs one.
    bool place()
    {
        if (getStatus() > Generator::DONE)
            return false;
        if (getStatus() == Generator::DONE)
            return refuse(Generator::UNEXPECTED_DATA_AFTER_DONE);
        enter();
        complete();
        return true;
    }

    bool open(bool hasKey, Status type, bool isKeyNeeded)
    {
        if (getStatus() > Generator::DONE)
            return false;
        if (getStatus() == Generator::DONE)
            return refuse(Generator::UNEXPECTED_DATA_AFTER_DONE);
        if (hasKey && !isInObject())
            return refuse(Generator::UNEXPECTED_KEY_VALUE);
        if (getDepth() == Generator::MAXIMUM_DEPTH)
            return refuse(Generator::MAXIMUM_DEPTH_EXCEEDED);
        if (type != Generator::STARTING_OBJECT && type != Generator::STARTING_ARRAY) {
            _levels.push_back(Generator::INTERNAL_ERROR);
            return false;
        }
        if (!hasKey && isKeyNeeded && isInObject())
            return refuse(Generator::EXPECTED_KEY_VALUE);
        enter();
        _levels.push_back(type);
        return true;
    }

    bool close()
    {
        if (getStatus() > Generator::DONE)
            return false;
        if (getStatus() == Generator::DONE)
            return refuse(Generator::UNEXPECTED_DATA_AFTER_DONE);
        const bool isOpen = getDepth() > 0;
        if (isOpen)
            _levels.pop_back();
        complete();
        return isOpen;
    }

private:
    bool refuse(Status status)
    {
        _levels.back() = status;
        return false;
    }

    void enter()
    {
        if (getStatus() == Generator::STARTING_OBJECT)
            _levels.back() = Generator::INSIDE_OBJECT;
        else if (getStatus() == Generator::STARTING_ARRAY)
            _levels.back() = Generator::INSIDE_ARRAY;
    }

    void complete()
    {
        if (getDepth() == 0)
            _levels.back() = Generator::DONE;
    }

    std::vector<Status> _levels = {Generator::INITIALIZED};
};
