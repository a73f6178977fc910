#include "messages/msg_render.hpp"

#include <cstdlib>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/utilities.h"
#include "diagnostics/oxprint/format_directive.hpp"
#include "messages/structext_record.hpp"
#include "platform/alloc.hpp"

namespace cairn::msg {
namespace {

// What the fetchers read: the arguments in order, and the rendered texts of
// nested records, kept until the formatter has produced its text.
struct Cursor {
    const structext_arg *args;
    int count;
    int next;
    int depth;
    char **owned;
};

// The cursor travels as the formatter's only variadic argument; every
// fetcher reads it without consuming it.
Cursor &cursor_of(va_list *ap)
{
    va_list peek;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): *ap is the caller's started list
    va_copy(peek, *ap);
    auto *c = va_arg(peek, Cursor *);
    va_end(peek);
    return *c;
}

const char *nested_text(Cursor &c, int index, const char *text)
{
    structext *inner = msg_stbuf_to_structext(text);
    if (inner == nullptr)
        return text;
    c.owned[index] = render_record(*inner, c.depth + 1);
    msg_structext_free(inner);
    return c.owned[index] != nullptr ? c.owned[index] : text;
}

const char *take(va_list *ap)
{
    Cursor &c = cursor_of(ap);
    if (c.next >= c.count)
        return "null";
    int index = c.next++;
    const structext_arg &a = c.args[index];
    const char *text = a.text != nullptr ? a.text : "null";
    if (a.desc == MSG_ARG_LITERAL)
        if (const char *colon = std::strchr(text, ':'))
            return colon + 1;
    if (a.desc == MSG_ARG_NESTED && c.depth < kMaxNesting)
        return nested_text(c, index, text);
    return text;
}

void fetch_text(va_list *ap, ox_fmt_arg *slot) { slot->s = take(ap); }
void fetch_pointer(va_list *ap, ox_fmt_arg *slot) { slot->p = take(ap); }
void fetch_int(va_list *ap, ox_fmt_arg *slot)
{
    slot->i = static_cast<int>(std::strtoll(take(ap), nullptr, 0));
}
void fetch_unsigned(va_list *ap, ox_fmt_arg *slot)
{
    slot->u = static_cast<unsigned>(std::strtoull(take(ap), nullptr, 0));
}
void fetch_long(va_list *ap, ox_fmt_arg *slot) { slot->l = std::strtol(take(ap), nullptr, 0); }
void fetch_ulong(va_list *ap, ox_fmt_arg *slot) { slot->ul = std::strtoul(take(ap), nullptr, 0); }
void fetch_longlong(va_list *ap, ox_fmt_arg *slot)
{
    slot->ll = std::strtoll(take(ap), nullptr, 0);
}
void fetch_double(va_list *ap, ox_fmt_arg *slot) { slot->d = std::strtod(take(ap), nullptr); }
void fetch_longdouble(va_list *ap, ox_fmt_arg *slot) { slot->ld = std::strtold(take(ap), nullptr); }

const ox_fmt_fetchers kArgFetchers = {{
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

// Whether every conversion that prints a pointer's text (s, p) gets one:
// each of them is of the string or pointer kind and no conversion of
// another kind takes its position.  Otherwise the formatter would read a
// number fetched for "%zs", "%ls" or "%1$d %1$s" as an address; such a
// form is shown as it is.
bool pointers_are_text(const char *form)
{
    using namespace cairn::oxprint;
    unsigned char use[OX_FMT_MAX_POSITIONS] = {};  // 1: pointer text, 2: any other kind
    auto mark = [&use](int position, unsigned char how) {
        if (position <= 0)
            return true;
        if (position >= OX_FMT_MAX_POSITIONS)
            return false;
        use[position] |= how;
        return use[position] != 3;
    };
    SpecWalker walk(form);
    const char *literal = nullptr;
    std::size_t literal_len = 0;
    ConvSpec spec;
    ArgPositions pos;
    while (walk.next(&literal, &literal_len, &spec, &pos)) {
        if (!takes_argument(spec))
            continue;
        bool text = spec.conversion == 's' || spec.conversion == 'p';
        int kind = kind_of(spec);
        if (text && kind != OX_FMT_STRING && kind != OX_FMT_POINTER)
            return false;
        if (!mark(pos.value, text ? 1 : 2) || !mark(pos.width, 2) || !mark(pos.precision, 2))
            return false;
    }
    return true;
}

// Room for any reasonable rendering: the record's own text and as much
// again as the formatter's usual start.  A width or precision in a hostile
// form cannot make the text (or its cost) larger.
std::size_t text_limit(const char *form, int count, const structext_arg *args)
{
    std::size_t limit = 19456 + std::strlen(form);
    for (int i = 0; i < count; ++i)
        limit += args[i].text != nullptr ? std::strlen(args[i].text) : 4;
    return limit;
}

char *format_with(std::size_t limit, const char *form, ...)
{
    char *text = nullptr;
    va_list ap;
    va_start(ap, form);
    i18n_vsnprintf_map(nullptr, limit, &text, &kArgFetchers, nullptr, form, ap);
    va_end(ap);
    return text;
}

}  // namespace

char *render_args(const char *form, int count, const structext_arg *args, int depth)
{
    if (count < 0 || args == nullptr)
        count = 0;
    Cursor c{args, count, 0, depth, nullptr};
    if (count > 0)
        c.owned = static_cast<char **>(xcalloc(static_cast<std::size_t>(count), sizeof(char *)));
    char *text = format_with(text_limit(form, count, args), form, &c);
    for (int i = 0; i < count; ++i)
        mem_free(c.owned[i]);
    mem_free(c.owned);
    return text;
}

char *render_record(const structext &st, int depth)
{
    if (st.form == nullptr)
        return nullptr;
    if ((st.argcount < 1 && get_formatted_args_num(st.form) > 0) || !pointers_are_text(st.form))
        return xstrdup(st.form);
    char *text = render_args(st.form, st.argcount, st.args, depth);
    return text != nullptr ? text : xstrdup(st.form);
}

char *render_text_form(const char *text)
{
    if (text == nullptr)
        return nullptr;
    structext *st =
        is_structext_xml(text) ? msg_xmlstr_to_structext(text) : msg_stbuf_to_structext(text);
    if (st == nullptr)
        return xstrdup(text);
    char *shown = render_record(*st, 0);
    msg_structext_free(st);
    return shown;
}

}  // namespace cairn::msg

namespace cairn {

char *msg_render(const char *form, va_list ap)
{
    if (form != nullptr && !msg::pointers_are_text(form))
        return xstrdup(form);
    int count = get_formatted_args_num(form);
    structext_arg *args = msg::take_args(ap, count, 0, false);
    char *text = msg::render_args(form, count, args, 0);
    msg::free_args(args, count);
    return text;
}

}  // namespace cairn

extern "C" char *msg_structext_render(const structext *st)
{
    return st != nullptr ? cairn::msg::render_record(*st, 0) : nullptr;
}
