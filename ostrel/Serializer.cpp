#include "ostrel/Serializer.h"

namespace Ostrel {

Serializer::~Serializer() = default;

} // namespace Ostrel
