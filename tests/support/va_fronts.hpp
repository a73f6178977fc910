// Variadic front ends of the library's va_list calls (the allocating
// formatters, the structured-text constructors), for tests that reach them
// as callers do, with literal arguments.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"

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

inline structext *vcreate(uint32_t id, const char *form, ...)
{
    va_list ap;
    va_start(ap, form);
    structext *st = msg_vstructext_create(id, form, ap);
    va_end(ap);
    return st;
}

inline structext *vpopulate(structext *st, uint32_t id, const char *form, ...)
{
    va_list ap;
    va_start(ap, form);
    structext *out = msg_vstructext_populate(st, id, form, ap);
    va_end(ap);
    return out;
}

}  // namespace cairn::testing
