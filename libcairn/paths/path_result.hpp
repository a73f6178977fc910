// Handing a computed path to the caller: into the caller's buffer, bounded
// by its size, or into a newly allocated one.
#pragma once

#include <cstddef>

namespace cairn::paths {

// Copies `len` bytes of `text` (which may lie in `out`) and a terminator to
// `out` of `size` bytes, or, when `out` is null, to a new buffer of
// `alloc_size` bytes (raised to len + 1 when smaller).  Returns the buffer;
// null with last error ENOSPC when the text does not fit, or ENOMEM when
// the allocation fails.
char *deliver_path(const char *text, std::size_t len, char *out, std::size_t size,
                   std::size_t alloc_size);

}  // namespace cairn::paths
