// Writing a rendered message to the standard streams that `flags` names
// (1 standard output, 2 standard error).  Standard error gets a numbered
// message as "<number>:<program>: <text>", or the text alone with flag
// 0x80 and the message-number switch off; with the switch on, standard
// output gets that long form too.
#pragma once

#include <cstdint>

namespace cairn {

// Returns the result of the last write (0 when nothing was written).
int print_direct(int32_t number, uint32_t flags, const char *text);

}  // namespace cairn
