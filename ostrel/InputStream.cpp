#include "ostrel/InputStream.h"

namespace Ostrel {

InputStream::~InputStream() = default;

} // namespace Ostrel
