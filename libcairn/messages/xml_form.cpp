// The XML form of a record:
//   <MSG id="<id>" form="<form>" argcount="<n>">  <MSGARGS>  <MSGARG
//   arg="<text>" argdesc="<descriptor>"/>  ...  </MSGARGS> </MSG>
// with the five XML escapes in the form and the texts.  The parser finds
// the attributes in that order.
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"
#include "cairn/utilities.h"
#include "messages/number_token.hpp"
#include "messages/structext_record.hpp"
#include "messages/text_sink.hpp"

namespace cairn::msg {
namespace {

struct Escape {
    char c;
    const char *entity;
};
constexpr Escape kEscapes[] = {
    {'"', "&quot;"}, {'&', "&amp;"}, {'\'', "&apos;"}, {'<', "&lt;"}, {'>', "&gt;"},
};

void put_escaped(Sink &s, const char *text)
{
    for (const char *p = text; *p != '\0'; ++p) {
        const char *entity = nullptr;
        for (const Escape &e : kEscapes)
            if (*p == e.c)
                entity = e.entity;
        if (entity != nullptr)
            s.put(entity);
        else
            s.put(p, 1);
    }
}

// The `n` bytes at `s` with the escapes undone; an "&" that starts none of
// them stays.
char *unescape(const char *s, std::size_t n)
{
    char *out = copy_bytes(s, n);
    std::size_t w = 0;
    for (std::size_t i = 0; i < n;) {
        char c = s[i++];
        if (c == '&')
            for (const Escape &e : kEscapes) {
                std::size_t elen = std::strlen(e.entity) - 1;
                if (n - i >= elen && std::memcmp(s + i, e.entity + 1, elen) == 0) {
                    c = e.c;
                    i += elen;
                    break;
                }
            }
        out[w++] = c;
    }
    out[w] = '\0';
    return out;
}

// The value of the next attribute `name` (which ends in `="`) from `*p`
// on: where it starts and its length; `*p` moves past its closing quote.
bool attribute(const char **p, const char *name, const char **value, std::size_t *len)
{
    const char *at = std::strstr(*p, name);
    if (at == nullptr)
        return false;
    *value = at + std::strlen(name);
    const char *close = std::strchr(*value, '"');
    if (close == nullptr)
        return false;
    *len = static_cast<std::size_t>(close - *value);
    *p = close + 1;
    return true;
}

bool number_attribute(const char **p, const char *name, long long lo, long long hi, long long *out)
{
    const char *value = nullptr;
    std::size_t len = 0;
    return attribute(p, name, &value, &len) && parse_number(value, len, lo, hi, out);
}

bool read_args(const char *p, structext &st, int count)
{
    st.args = static_cast<structext_arg *>(
        xcalloc(static_cast<std::size_t>(count), sizeof(structext_arg)));
    st.argcount = count;
    for (int i = 0; i < count; ++i) {
        const char *value = nullptr;
        std::size_t len = 0;
        long long desc = 0;
        if (!attribute(&p, "<MSGARG arg=\"", &value, &len))
            return false;
        st.args[i].text = unescape(value, len);
        if (!number_attribute(&p, "argdesc=\"", INT32_MIN, INT32_MAX, &desc))
            return false;
        st.args[i].desc = static_cast<int32_t>(desc);
    }
    return true;
}

constexpr std::size_t kMinArgBytes = sizeof("<MSGARG arg=\"\" argdesc=\"0\"") - 1;

}  // namespace
}  // namespace cairn::msg

using namespace cairn::msg;

extern "C" {

char *msg_structext_to_xmlstr(const structext *st)
{
    if (st == nullptr || st->form == nullptr)
        return nullptr;
    int count = st->args != nullptr && st->argcount > 0 ? st->argcount : 0;
    return build_text([&](Sink &s) {
        s.put("<MSG id=\"");
        s.num(static_cast<int32_t>(st->msgid));
        s.put("\" form=\"");
        put_escaped(s, st->form);
        s.put("\" argcount=\"");
        s.num(count);
        s.put("\"> ");
        if (count > 0) {
            s.put(" <MSGARGS> ");
            for (int i = 0; i < count; ++i) {
                s.put(" <MSGARG arg=\"");
                put_escaped(s, st->args[i].text != nullptr ? st->args[i].text : "null");
                s.put("\" argdesc=\"");
                s.num(st->args[i].desc);
                s.put("\"/> ");
            }
            s.put(" </MSGARGS> ");
        }
        s.put("</MSG>");
    });
}

structext *msg_xmlstr_to_structext(const char *text)
{
    const char *p = text != nullptr ? std::strstr(text, "<MSG ") : nullptr;
    const char *form = nullptr;
    std::size_t form_len = 0;
    long long id = 0;
    long long count = 0;
    if (p == nullptr || !number_attribute(&p, "id=\"", INT32_MIN, UINT32_MAX, &id) ||
        !attribute(&p, "form=\"", &form, &form_len) ||
        !number_attribute(&p, "argcount=\"", 0, INT32_MAX, &count))
        return nullptr;
    auto *st = static_cast<structext *>(xcalloc(1, sizeof(structext)));
    st->msgid = static_cast<uint32_t>(id);
    st->form = unescape(form, form_len);
    // As in the buffer form: a count that is not the form's keeps the form
    // alone; one that cannot fit in the text is malformed.
    if (count == 0 || count != get_formatted_args_num(st->form))
        return st;
    if (static_cast<std::size_t>(count) > std::strlen(p) / kMinArgBytes ||
        !read_args(p, *st, static_cast<int>(count))) {
        msg_structext_free(st);
        return nullptr;
    }
    return st;
}

int is_structext_xml(const char *text)
{
    return text != nullptr && std::strstr(text, "<MSG") != nullptr &&
           std::strstr(text, "</MSG>") != nullptr;
}

}  // extern "C"
