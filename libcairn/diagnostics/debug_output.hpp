// The one write path of debug lines: a formatted text goes, after the
// prefix, to the process stream and then the thread stream, or, with
// neither open, to standard error through the message printer.
#pragma once

namespace cairn {

// How the text of a line reaches an open stream.
enum class DebugText {
    raw,        // the bytes as they are (plain stdio)
    converted,  // through the library's output path (ox_fprintf)
};

// Write `text` as one debug line.  `marker` (or nullptr) goes between the
// prefix and the text.
void debug_write_line(const char *text, DebugText how, const char *marker);

}  // namespace cairn
