// Screen columns of UTF-8 text on a terminal, judged by lead bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cairn::oxprint {

// Width (1 or 2) of the character at s[0] and its byte length, which never
// reaches past `avail` bytes or a NUL.  s[0] must be readable and not NUL.
int char_display_width(const unsigned char *s, std::size_t avail, std::size_t *bytes);

// Columns of the first `len` bytes of `s`.
std::size_t display_width(const char *s, std::size_t len);

}  // namespace cairn::oxprint
