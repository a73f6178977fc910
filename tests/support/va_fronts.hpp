// Variadic front ends for tests of the library's va_list calls.
// CAIRN_VA_FRONT defines one: the function `name`, whose parameters `params`
// end in `last, ...`, passes the arguments named after `vcall` and then its
// list to `vcall`.
//
//   CAIRN_VA_FRONT(int, format_to, (char *buf, const char *f, ...), f, ox_vsprintf, buf, f)
//
// The front ends of the allocating formatters and the structured-text
// constructors, which several tests call as callers do, are defined here.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"

#define CAIRN_VA_FRONT(type, name, params, last, vcall, ...)                                       \
    type name params                                                                               \
    {                                                                                              \
        va_list ap;                                                                                \
        va_start(ap, last);                                                                        \
        type va_front_result = vcall(__VA_ARGS__, ap);                                             \
        va_end(ap);                                                                                \
        return va_front_result;                                                                    \
    }

#define CAIRN_VA_FRONT_VOID(name, params, last, vcall, ...)                                        \
    void name params                                                                               \
    {                                                                                              \
        va_list ap;                                                                                \
        va_start(ap, last);                                                                        \
        vcall(__VA_ARGS__, ap);                                                                    \
        va_end(ap);                                                                                \
    }

namespace cairn::testing {

// clang-format off
inline CAIRN_VA_FRONT(int, alloc_format, (char **result, const char *format, ...), format,
                      i18n_vsprintf, nullptr, result, format)
inline CAIRN_VA_FRONT(int, bounded_alloc_format,
                      (std::size_t size, char **result, const char *format, ...), format,
                      i18n_vsnprintf, nullptr, size, result, format)
inline CAIRN_VA_FRONT(structext *, vcreate, (uint32_t id, const char *form, ...), form,
                      msg_vstructext_create, id, form)
inline CAIRN_VA_FRONT(structext *, vpopulate, (structext *st, uint32_t id, const char *form, ...),
                      form, msg_vstructext_populate, st, id, form)
// clang-format on

}  // namespace cairn::testing
