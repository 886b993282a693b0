#include "ostrel/Deserializer.h"

#include "ostrel/internal/Narrowing.h"

namespace Ostrel {

Deserializer::~Deserializer() = default;

Deserializer::Handler::~Handler() = default;

void Deserializer::Handler::reset() {}

void Deserializer::Handler::onInteger(WeakPtr<Deserializer>, const char*, int) {}

void Deserializer::Handler::onInteger(WeakPtr<Deserializer> deserializer, const char* key, long long value)
{
    onInteger(deserializer, key, toLow32Bits(value));
}

void Deserializer::Handler::onDouble(WeakPtr<Deserializer>, const char*, double) {}

void Deserializer::Handler::onString(WeakPtr<Deserializer>, const char*, const char*) {}

void Deserializer::Handler::onBoolean(WeakPtr<Deserializer>, const char*, bool) {}

void Deserializer::Handler::onNull(WeakPtr<Deserializer>, const char*) {}

Deserializer::Handler* Deserializer::Handler::arrayStart(WeakPtr<Deserializer>, const char*)
{
    return nullptr;
}

void Deserializer::Handler::arrayEnd(WeakPtr<Deserializer>) {}

Deserializer::Handler* Deserializer::Handler::objectStart(WeakPtr<Deserializer>, const char*)
{
    return nullptr;
}

void Deserializer::Handler::objectEnd(WeakPtr<Deserializer>) {}

} // namespace Ostrel
