// Internal view of the process identity kept by the frame: the path of the
// debug-control file that initialisation chooses and the debug log reads.
#pragma once

#include <cstddef>

namespace cairn {

// Longest path the library handles, terminator included.
constexpr std::size_t kPathMax = 13312;

// The debug-control file: "<dir>/oxdbg.tmp", chosen by initialisation.
// Empty until then.  The returned text stays valid for the process.
const char *debug_control_path();
void set_debug_control_path(const char *dir);

}  // namespace cairn
