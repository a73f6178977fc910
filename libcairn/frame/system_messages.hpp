// The platform's standard message texts for the Win32 and Winsock codes the
// error model maps.  Linux has no system message table, so the library
// carries the texts itself.
#pragma once

#include <cstdint>

namespace cairn {

// The text for `code` (ending in "\r\n" as the system gives it), or nullptr.
const char *system_message_text(uint32_t code);

}  // namespace cairn
