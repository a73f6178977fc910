// The pieces every debug line is made of besides its text: the prefix
// (optional local time, program name) and debugprintf()'s microsecond stamp.
#pragma once

#include <cstddef>

namespace cairn {

constexpr std::size_t kDebugPrefixSize = 960;
constexpr std::size_t kDebugStampSize = 620;
constexpr std::size_t kProgramNameSize = 260;

// "<time> <program>: " or "<program>: " into `buf` (kDebugPrefixSize bytes).
// Returns its length.
std::size_t debug_prefix(char *buf, std::size_t size);

// "%m/%d/%y %H:%M:%S.<microseconds>" of now, "no-time.<us>" when the local
// time cannot be had, "<NULL>" when no stamp can be formed.
void debug_stamp(char *buf, std::size_t size);

}  // namespace cairn
