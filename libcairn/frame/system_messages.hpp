// The platform's documented message texts for the system error codes 0 to
// 1299 and the Winsock codes.  Linux has no system message table, so the library
// carries the texts itself.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cairn {

struct SystemMessageRow {
    uint32_t code;
    const char *text;
};

// The whole table, sorted by code (tests check it as data).
const SystemMessageRow *system_message_rows(std::size_t *count);

// The text for `code` (ending in "\r\n" as the system gives it), or nullptr.
const char *system_message_text(uint32_t code);

}  // namespace cairn
