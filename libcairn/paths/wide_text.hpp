// What the path functions need from the text subsystem: the 16-bit wide
// unit and the conversions between UTF-8 and wide strings, with the
// library's replacement and result rules (0 done, 1 done with '?' in place
// of bytes that are not UTF-8, 46 output too small, 31 bad arguments).
//
// Implemented for now by wide_text_interim_adapter.cpp; at the merge with
// the text subsystem these forward to its ox_utf8s_to_wcs() and
// ox_wcs_to_utf8s() and the adapter goes.
#pragma once

#include <cstddef>

#include "cairn/paths.h"

namespace cairn::paths {

using WideUnit = ox_path_wchar;

// UTF-8 to wide: at most size - 1 units and a terminator; running out of
// room is not reported.  `count` (may be null) receives the units stored.
int utf8_to_wide(WideUnit *out, const char *in, std::size_t size, std::size_t *count);

// Wide to UTF-8: 46 when the bytes do not fit in size - 1; the output is
// terminated in every case.  `count` (may be null) receives the bytes.
int wide_to_utf8(char *out, const WideUnit *in, std::size_t size, std::size_t *count);

}  // namespace cairn::paths
