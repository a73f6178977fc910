// The message logs: one append-only file per log destination bit under
// the logs directory, one line per message.  Several threads and several
// processes append to the same file: each line is one write(2) on an
// O_APPEND descriptor, so lines never tear or mix.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cairn {

// Longest message text a log line carries; longer text is cut at a
// character boundary and marked.
constexpr std::size_t kLogTextMax = 16384;
constexpr const char kLogCutMarker[] = " [truncated]";

// Append one line for the message to every log that `flags` selects
// (bits 8, 16, 32, 64 and 0x200; other bits are ignored).  A log that
// cannot be opened sends its lines to standard error.  Never blocks longer
// than the write itself.
void msg_log_append(uint32_t flags, int32_t number, uint32_t severity, const char *text);

// Write the line for the message into `buf` (at least kLogLineMax bytes);
// returns its length, the final '\n' included.
constexpr std::size_t kLogLineMax = kLogTextMax + sizeof kLogCutMarker + 512;
std::size_t msg_log_format(char *buf, int32_t number, uint32_t severity, const char *text);

}  // namespace cairn
