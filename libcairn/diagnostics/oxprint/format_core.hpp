// The library's one formatter: scan the format for its argument positions
// and kinds, fetch every argument once, then produce the text into a sink.
#pragma once

#include <cstdarg>

#include "cairn/diagnostics.h"
#include "diagnostics/oxprint/sink.hpp"

namespace cairn::oxprint {

// Highest position a format uses, plus one.  Writes the line about letters
// it does not know.
int position_count(const char *fmt);

// Format `fmt` with the arguments of `ap` into `out`.  With `stop_when_cut`
// the work ends once the sink cannot take more; without it the sink also
// counts the rest of the text.  Returns false, after writing its debug
// line, when the format fails (positions, widths, precisions); the sink then
// holds an unspecified part of the text.
bool format_into(Sink &out, const char *fmt, va_list ap, const ox_fmt_fetchers *fetchers,
                 bool stop_when_cut);

}  // namespace cairn::oxprint
