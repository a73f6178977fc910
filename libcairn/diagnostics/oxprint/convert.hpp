// Converting one argument by its specification into the sink.
#pragma once

#include "cairn/diagnostics.h"
#include "diagnostics/oxprint/format_directive.hpp"
#include "diagnostics/oxprint/sink.hpp"

namespace cairn::oxprint {

// A specification with its width and precision resolved to numbers.
struct Resolved {
    unsigned flags = 0;
    int width = 0;       // 0 when none
    int precision = -1;  // -1 when none
    Length length = Length::none;
    char conversion = 0;
    int fetched_kind = 0;  // the kind the argument's position was fetched as
    bool plain = false;    // plain mode: "%s" widths and precisions count bytes
};

// d i u o x X
void convert_integer(Sink &out, const Resolved &r, const ox_fmt_arg &arg);
// s c, and their wide forms
void convert_text(Sink &out, const Resolved &r, const ox_fmt_arg &arg);
// e E f F g G a A: digits by the C library, padding through the sink
void convert_floating(Sink &out, const Resolved &r, const ox_fmt_arg &arg);
// p
void convert_pointer(Sink &out, const Resolved &r, const ox_fmt_arg &arg);

// Pad `len` bytes of content to the width: spaces before, or after with '-'.
inline void pad_before(Sink &out, const Resolved &r, std::size_t columns)
{
    if (!(r.flags & kFlagMinus) && static_cast<std::size_t>(r.width) > columns)
        out.fill(' ', static_cast<std::size_t>(r.width) - columns);
}

inline void pad_after(Sink &out, const Resolved &r, std::size_t columns)
{
    if ((r.flags & kFlagMinus) && static_cast<std::size_t>(r.width) > columns)
        out.fill(' ', static_cast<std::size_t>(r.width) - columns);
}

// The bytes of an argument slot read as another type (slots start zeroed).
template <typename T>
T slot_as(const ox_fmt_arg &arg)
{
    T value;
    __builtin_memcpy(&value, &arg, sizeof value);
    return value;
}

}  // namespace cairn::oxprint
