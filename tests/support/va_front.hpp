// One definition of a test's variadic front end for a va_list call: the
// function `name`, whose parameters `params` end in `last, ...`, passes the
// arguments named after `vcall` and then its list to `vcall`.
//
//   CAIRN_VA_FRONT(int, format_to, (char *buf, const char *f, ...), f, ox_vsprintf, buf, f)
#pragma once

#include <cstdarg>

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
