/* UTF-8 for C; the functions for C++ are in ostrel/StringUtils.h. */
#pragma once

#include "ostrel/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The code point of the UTF-8 sequence at `p`, -1 for null and for a byte that starts no sequence. Continuation bytes
 * are not checked; those behind a terminator count as 0.
 *
 *     const int euro = C_convertUtf8ToUnicode("\xE2\x82\xAC"); // 0x20AC
 */
OSTREL_EXPORT int C_convertUtf8ToUnicode(const char* p);

#ifdef __cplusplus
}
#endif
