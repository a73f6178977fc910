#include "diagnostics/debug_line.hpp"

#include <cstdio>

namespace cairn {

// Until debug streams exist every line goes to standard error.
void debug_vwrite(const char *fmt, va_list ap)
{
    std::vfprintf(stderr, fmt, ap);
}

void debug_write(const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    debug_vwrite(fmt, ap);
    va_end(ap);
}

}  // namespace cairn
