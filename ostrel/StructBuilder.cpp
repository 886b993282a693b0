#include "ostrel/StructBuilder.h"

#include "ostrel/internal/Narrowing.h"

namespace Ostrel {

StructBuilder::~StructBuilder() = default;

StructBuilder& StructBuilder::add(const char* key, long long value)
{
    return add(key, toLow32Bits(value));
}

StructBuilder& StructBuilder::add(long long value)
{
    return add(toLow32Bits(value));
}

} // namespace Ostrel
