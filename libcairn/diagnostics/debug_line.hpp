// The one internal entry for the library's own debug lines.  Every
// subsystem writes its diagnostics through here, so that the debug log
// decides where they go.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "cairn/diagnostics.h"

namespace cairn {

// Whether a line at `level`, or guarded by one of `trace_bits`, is wanted.
// This is the only test on the disabled path: no formatting happens before.
inline bool debug_wanted(int level, uint32_t trace_bits = 0)
{
    return Debug >= level || (OxTrace & trace_bits) != 0;
}

// Write one debug line unconditionally (the caller tested debug_wanted()).
void debug_write(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
void debug_vwrite(const char *fmt, va_list ap);

}  // namespace cairn

// Test and write in one statement: arguments are evaluated only when wanted.
#define CAIRN_DEBUG(level, trace_bits, ...)                                                        \
    do {                                                                                           \
        if (::cairn::debug_wanted((level), (trace_bits)))                                          \
            ::cairn::debug_write(__VA_ARGS__);                                                     \
    } while (0)
