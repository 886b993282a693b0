#include <rapidjson/filereadstream.h>

#include <cstdio>

#include "bench/RapidJsonPeer.h"

namespace bench {

bool parseWithRapidJson(const char* text, EventCounter& counter)
{
    RapidJsonHandler handler(counter);
    rapidjson::Reader reader;
    rapidjson::StringStream stream(text);
    return !reader.Parse(stream, handler).IsError();
}

bool parseFileWithRapidJson(const char* path, EventCounter& counter)
{
    FILE* const file = fopen(path, "r");
    if (file == nullptr)
        return false;
    char window[65536];
    RapidJsonHandler handler(counter);
    rapidjson::Reader reader;
    rapidjson::FileReadStream stream(file, window, sizeof(window));
    const bool isValid = !reader.Parse(stream, handler).IsError();
    fclose(file);
    return isValid;
}

} // namespace bench
