#pragma once

#include <string>

#include "ostrel/DataObject.h"
#include "tools/ostrel-inspect/Options.h"

namespace Inspect {

/// From now on the library's reports are kept, so that nothing which a tree cannot hold is lost in silence.
void keepReports();

/// Writes a tree as the library's serializer does, unless a report says that it is not whole.
ExitStatus writeTree(const std::string& file, const Ostrel::DataObject& root);

} // namespace Inspect
