// Internal view of the object registry for tests and the library's types.
#pragma once

#include <cstddef>

namespace cairn {

// Slots the registry holds now (0 before first use).
std::size_t registry_capacity();

// Objects registered now (0 before first use); a census for tests and
// diagnostics, taken under the registry lock.
std::size_t registry_live_count();

// The header of a registered object.
struct ObjectHeader;

}  // namespace cairn
