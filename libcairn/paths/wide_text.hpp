// What the path functions take from the text subsystem: the 16-bit wide
// unit and the conversions between UTF-8 and wide strings, with the
// library's replacement and result rules (0 done, 1 done with '?' in place
// of bytes that are not UTF-8, 46 output too small, 31 bad arguments).
#pragma once

#include <cstddef>

#include "cairn/text.h"

namespace cairn::paths {

using WideUnit = ox_wchar;

// UTF-8 to wide: at most size - 1 units and a terminator; running out of
// room is not reported.  `count` (may be null) receives the units stored.
inline int utf8_to_wide(WideUnit *out, const char *in, std::size_t size, std::size_t *count)
{
    return ox_utf8s_to_wcs(out, in, size, count);
}

// Wide to UTF-8: 46 when the bytes do not fit in size - 1; the output is
// terminated in every case.  `count` (may be null) receives the bytes.
inline int wide_to_utf8(char *out, const WideUnit *in, std::size_t size, std::size_t *count)
{
    return ox_wcs_to_utf8s(out, in, size, count);
}

}  // namespace cairn::paths
