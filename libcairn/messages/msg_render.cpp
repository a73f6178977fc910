#include "messages/msg_render.hpp"

#include <cstdlib>
#include <cstring>

#include "cairn/diagnostics.h"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

constexpr int kLiteralDescriptor = 11;

// Take one (descriptor, value) pair and return the text it prints.
const char *take_pair(va_list *ap)
{
    int descriptor = va_arg(*ap, int);
    const char *value = va_arg(*ap, const char *);
    if (value == nullptr)
        return "null";
    if (descriptor == kLiteralDescriptor)
        if (const char *colon = std::strchr(value, ':'))
            return colon + 1;
    return value;
}

void fetch_text(va_list *ap, ox_fmt_arg *slot) { slot->s = take_pair(ap); }
void fetch_pointer(va_list *ap, ox_fmt_arg *slot) { slot->p = take_pair(ap); }
void fetch_int(va_list *ap, ox_fmt_arg *slot)
{
    slot->i = static_cast<int>(std::strtoll(take_pair(ap), nullptr, 0));
}
void fetch_unsigned(va_list *ap, ox_fmt_arg *slot)
{
    slot->u = static_cast<unsigned>(std::strtoull(take_pair(ap), nullptr, 0));
}
void fetch_long(va_list *ap, ox_fmt_arg *slot) { slot->l = std::strtol(take_pair(ap), nullptr, 0); }
void fetch_ulong(va_list *ap, ox_fmt_arg *slot)
{
    slot->ul = std::strtoul(take_pair(ap), nullptr, 0);
}
void fetch_longlong(va_list *ap, ox_fmt_arg *slot)
{
    slot->ll = std::strtoll(take_pair(ap), nullptr, 0);
}
void fetch_double(va_list *ap, ox_fmt_arg *slot) { slot->d = std::strtod(take_pair(ap), nullptr); }
void fetch_longdouble(va_list *ap, ox_fmt_arg *slot)
{
    slot->ld = std::strtold(take_pair(ap), nullptr);
}

const ox_fmt_fetchers kPairFetchers = {{
    fetch_int,         // OX_FMT_WORD
    fetch_int,         // OX_FMT_INT
    fetch_unsigned,    // OX_FMT_UNSIGNED
    fetch_long,        // OX_FMT_LONG
    fetch_longlong,    // OX_FMT_LONGLONG
    fetch_double,      // OX_FMT_DOUBLE
    fetch_longdouble,  // OX_FMT_LONGDOUBLE
    fetch_text,        // OX_FMT_STRING
    fetch_pointer,     // OX_FMT_POINTER
    fetch_ulong,       // OX_FMT_ULONG
}};

}  // namespace

char *msg_render(const char *form, va_list ap)
{
    char *text = nullptr;
    i18n_vsnprintf_map(nullptr, 0, &text, &kPairFetchers, nullptr, form, ap);
    return text;
}

}  // namespace cairn
