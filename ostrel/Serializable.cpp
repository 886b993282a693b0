#include "ostrel/Serializable.h"

namespace Ostrel {

Serializable::~Serializable() = default;

} // namespace Ostrel
