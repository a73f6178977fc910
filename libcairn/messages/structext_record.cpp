#include "messages/structext_record.hpp"

#include <cstdio>
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/utilities.h"
#include "messages/number_token.hpp"
#include "platform/alloc.hpp"

namespace cairn::msg {

char *copy_bytes(const char *text, std::size_t len)
{
    auto *p = static_cast<char *>(xmalloc(len + 1));
    std::memcpy(p, text, len);
    p[len] = '\0';
    return p;
}

structext_arg *take_args(va_list ap, int count, int32_t id, bool report)
{
    if (count < 1 || count >= OX_FMT_MAX_POSITIONS)  // such a form fails to render anyway
        return nullptr;
    auto *args = static_cast<structext_arg *>(
        xcalloc(static_cast<std::size_t>(count), sizeof(structext_arg)));
    for (int i = 0; i < count; ++i) {
        int desc = va_arg(ap, int);
        const void *value = va_arg(ap, const void *);
        if (value == nullptr) {
            if (report)
                ox_fprintf(stderr,
                           "passing null into one of the msg creation calls with msg id %d\n", id);
            args[i] = {MSG_ARG_TEXT, xstrdup("null")};
        } else if (desc == MSG_ARG_OBJECT) {
            args[i] = {MSG_ARG_NESTED,
                       msg_structext_to_stbuf(&static_cast<const msg_t *>(value)->stext)};
            if (args[i].text == nullptr)  // an emptied object
                args[i] = {MSG_ARG_TEXT, xstrdup("null")};
        } else {
            args[i] = {desc, xstrdup(static_cast<const char *>(value))};
        }
    }
    return args;
}

void free_args(structext_arg *args, int count)
{
    if (args == nullptr)
        return;
    for (int i = 0; i < count; ++i)
        mem_free(args[i].text);
    mem_free(args);
}

void fill_from_pairs(structext &st, uint32_t id, const char *form, va_list ap)
{
    int count = get_formatted_args_num(form);
    st.msgid = id;
    st.form = xstrdup(form);
    st.args = take_args(ap, count, static_cast<int32_t>(id), true);
    st.argcount = st.args != nullptr ? count : 0;
}

void move_record(structext &to, structext &from)
{
    msg_structext_depopulate(&to);
    to.msgid = from.msgid;
    to.form = from.form;
    to.argcount = from.argcount;
    to.args = from.args;
    from.form = nullptr;
    from.args = nullptr;
    from.argcount = 0;
}

void copy_record(structext &to, const structext &from)
{
    to.msgid = from.msgid;
    to.form = xstrdup(from.form);
    to.argcount = 0;
    to.args = nullptr;
    if (from.argcount < 1 || from.args == nullptr)
        return;
    auto n = static_cast<std::size_t>(from.argcount);
    to.args = static_cast<structext_arg *>(xcalloc(n, sizeof(structext_arg)));
    for (std::size_t i = 0; i < n; ++i)
        to.args[i] = {from.args[i].desc, xstrdup(from.args[i].text ? from.args[i].text : "null")};
    to.argcount = from.argcount;
}

// The decimal id before the first ":" of `text`, and where the rest starts;
// false without ":" or when the part before it is not a decimal number.
bool split_idlit(const char *text, int32_t *id, const char **rest)
{
    const char *colon = text != nullptr ? std::strchr(text, ':') : nullptr;
    long long value = 0;
    if (colon == nullptr ||
        !parse_number(text, static_cast<std::size_t>(colon - text), INT32_MIN, INT32_MAX, &value))
        return false;
    *id = static_cast<int32_t>(value);
    *rest = colon + 1;
    return true;
}

}  // namespace cairn::msg
