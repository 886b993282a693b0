/// Not installed: internal to the library.
#pragma once

namespace Ostrel {

/// One letter and what it folds to, as code points.
struct CaseFolding
{
    unsigned int source;
    unsigned int folded;
};

enum { CASE_FOLDING_COUNT = 905 };

/// The one-to-one case foldings of Unicode 4.1, ascending by source. Internal: callers use `tableSearch`.
extern const CaseFolding CASE_FOLDINGS[CASE_FOLDING_COUNT];

} // namespace Ostrel
