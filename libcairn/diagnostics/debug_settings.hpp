// The debug log's process-wide flags that are not exported as variables.
#pragma once

#include <cstdint>

namespace cairn {

// Every debug prefix begins with the local date and time when non-zero.
extern int g_need_timestamps;
// debugprintf() puts a microsecond stamp ahead of its text when non-zero.
extern int g_dprintf_timestamps;
// Print the inactive-clients cache (read by the host-identity caches).
extern int32_t g_print_inactive_clients;

}  // namespace cairn
