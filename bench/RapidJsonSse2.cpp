// RapidJSON as its users build it on x86. Its inline code must not meet that of the plain configuration.
#define RAPIDJSON_NAMESPACE rapidjson_sse2
#if defined(__SSE2__)
#define RAPIDJSON_SSE2
#endif

#include "bench/RapidJsonPeer.h"

namespace bench {

bool parseWithRapidJsonSse2(const char* text, EventCounter& counter)
{
    RapidJsonHandler handler(counter);
    rapidjson_sse2::Reader reader;
    rapidjson_sse2::StringStream stream(text);
    return !reader.Parse(stream, handler).IsError();
}

} // namespace bench
