/// The peers of the JSON benchmarks. Each is its own translation unit, since RapidJSON is configured by macros.
#pragma once

#include <cstddef>

namespace bench {

/// What every contestant calls through: a virtual call an event, none of which can be seen through.
class EventCounter
{
public:
    virtual ~EventCounter() = default;
    virtual bool onScalar(double value);
    virtual bool onText(const char* text, unsigned int length);
    virtual bool onBracket();

    unsigned long events = 0;
    double sum = 0;
};

bool parseWithRapidJson(const char* text, EventCounter& counter);
bool parseFileWithRapidJson(const char* path, EventCounter& counter);

bool parseWithRapidJsonSse2(const char* text, EventCounter& counter);

} // namespace bench
