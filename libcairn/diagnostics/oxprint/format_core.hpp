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

// How format_into() works; flags that combine.
enum FormatMode : unsigned {
    kCountAll = 0,     // the sink also counts the text past a cut
    kStopWhenCut = 1,  // the work ends once the sink cannot take more
    kPlainText = 2,    // the C library's rules: "%s" widths and precisions
                       // count bytes, a null string prints "(null)", and no
                       // conversion is limited by the rebuilt-specification room
};

// Format `fmt` with the arguments of `ap` into `out`.  Returns false, after
// writing its debug line, when the format fails (positions, widths,
// precisions); the sink then holds an unspecified part of the text.
bool format_into(Sink &out, const char *fmt, va_list ap, const ox_fmt_fetchers *fetchers,
                 unsigned mode);

}  // namespace cairn::oxprint
