// The frame's user-facing notices (fatal set-up failures, product
// information).  They reach the message printer through this one call.
#pragma once

#include <cstdint>

namespace cairn {

// Print `text` as a message with `number`, `severity` and destination
// `flags` (1 standard output, 2 standard error), as the message printer
// does for a "%s" format with one string argument.
void post_notice(int32_t number, uint32_t severity, uint32_t flags, const char *text);

}  // namespace cairn
