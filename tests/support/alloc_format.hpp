// Variadic front ends of the allocating formatters, for tests that call
// them with literal arguments.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "cairn/diagnostics.h"

namespace cairn::testing {

inline int alloc_format(char **result, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    int n = i18n_vsprintf(nullptr, result, format, ap);
    va_end(ap);
    return n;
}

inline int bounded_alloc_format(std::size_t size, char **result, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    int n = i18n_vsnprintf(nullptr, size, result, format, ap);
    va_end(ap);
    return n;
}

}  // namespace cairn::testing
