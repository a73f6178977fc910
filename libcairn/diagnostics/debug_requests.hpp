// Requests an operator's tool sends on the debug event's channel (the
// sender is already checked: its own user or root).
#pragma once

#include <sys/types.h>

#include <cstddef>

namespace cairn {

// "status": the debug-control file, the channel's counts and the settings
// in force, one "key=value" a line.  "stats" or "stats FILE": the census
// (process_stats.hpp) written to the debug log or to FILE, which must be a
// regular file owned by `uid` that others cannot write; answered "ok ..."
// or "error <reason>".
void answer_debug_request(const char *request, uid_t uid, char *answer, std::size_t size);

}  // namespace cairn
