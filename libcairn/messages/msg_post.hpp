// Posting a rendered message: a line in each message log that `flags`
// selects.  A message posted with no log bit (posted because time stamps
// are wanted) goes to the standard streams its flags name, with the debug
// prefix (time and program name); with a log bit those streams get nothing.
#pragma once

#include <cstdint>

namespace cairn {

void msg_post_text(uint32_t flags, int32_t number, uint32_t severity, const char *text);

}  // namespace cairn
