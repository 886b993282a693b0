#include "ostrel/OutputStream.h"

namespace Ostrel {

OutputStream::~OutputStream() = default;

int OutputStream::flush()
{
    return 0;
}

} // namespace Ostrel
