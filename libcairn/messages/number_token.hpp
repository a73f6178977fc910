// Decimal numbers in the text forms of records.
#pragma once

#include <cstddef>

namespace cairn::msg {

// Reads the `n` bytes at `s` as an optionally signed decimal number within
// [lo, hi]; false for anything else (empty, other characters, overflow).
bool parse_number(const char *s, std::size_t n, long long lo, long long hi, long long *out);

}  // namespace cairn::msg
