#include "ostrel/BufferedInputStream.h"

namespace Ostrel {

template class BufferedInputStream<65536>;

} // namespace Ostrel
