// The rendered-plus-buffer form: the rendered text, a blank, and the
// buffer form without the cut of argument texts.
#include <cstring>

#include "cairn/messages.h"
#include "messages/msg_render.hpp"
#include "messages/stbuf_form.hpp"
#include "messages/text_sink.hpp"
#include "platform/alloc.hpp"

using namespace cairn;
using namespace cairn::msg;

extern "C" {

char *msg_structext_to_stxdrbuf(const structext *st, size_t *rendered_len)
{
    if (st == nullptr || st->form == nullptr)
        return nullptr;
    char *rendered = render_record(*st, 0);
    char *buffer = write_stbuf(*st, false);
    std::size_t n = std::strlen(rendered);
    char *text = build_text([&](Sink &s) {
        s.put(rendered, n);
        s.put(" ");
        s.put(buffer);
    });
    mem_free(rendered);
    mem_free(buffer);
    if (rendered_len != nullptr)
        *rendered_len = n;
    return text;
}

structext *msg_stxdrbuf_to_structext(const char *text, size_t rendered_len)
{
    if (text == nullptr || rendered_len == SIZE_MAX)
        return nullptr;
    std::size_t n = strnlen(text, rendered_len + 1);
    if (n <= rendered_len || text[rendered_len] != ' ')
        return nullptr;
    const char *buffer = text + rendered_len + 1;
    return parse_stbuf(buffer, std::strlen(buffer));
}

}  // extern "C"
