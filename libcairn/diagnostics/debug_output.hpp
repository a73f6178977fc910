// The one write path of debug lines: a formatted text goes, after the
// prefix, to the process stream and then the thread stream, or, with
// neither open, to standard error through the message printer.
#pragma once

#include <cstdarg>

namespace cairn {

// How the text of a line reaches an open stream.
enum class DebugText {
    raw,        // the bytes as they are (plain stdio)
    converted,  // through the library's output path (ox_fprintf)
};

// Format and write one debug line.  `marker` (or nullptr) goes between
// the prefix and the text.
void format_and_write(const char *fmt, va_list ap, DebugText how, const char *marker);

}  // namespace cairn
