// Identified literals ("<id>:<text>") and plain texts in the buffer form,
// and the thread's ring of literal buffers.
//
// No message catalogues are installed, so the localised form of a literal
// is the literal itself.
#include <cstdio>
#include <cstring>

#include "cairn/messages.h"
#include "messages/msg_thread_state.hpp"
#include "messages/stbuf_form.hpp"
#include "messages/structext_record.hpp"
#include "messages/text_sink.hpp"
#include "platform/alloc.hpp"

using namespace cairn;
using namespace cairn::msg;

namespace {

// The length of `text` cut to at most `max` bytes without splitting a
// UTF-8 character.
std::size_t utf8_cut(const char *text, std::size_t max)
{
    std::size_t n = strnlen(text, max + 1);
    if (n <= max)
        return n;
    n = max;
    while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80)
        --n;
    return n;
}

// "<id> <length> <text>": a record of one form and no arguments.
char *plain_stbuf(int32_t id, const char *text, std::size_t n)
{
    return build_text([&](Sink &s) {
        s.num(id);
        s.put(" ");
        s.num(static_cast<long long>(n));
        s.put(" ");
        s.put(text, n);
    });
}

}  // namespace

extern "C" {

char *msg_mlit_create(int32_t id, const char *text)
{
    if (text == nullptr)
        return nullptr;
    char *buf = next_literal_buffer();
    int head = std::snprintf(buf, MSG_LITERAL_SIZE, "%d:", id);
    std::size_t n = utf8_cut(text, MSG_LITERAL_SIZE - 1 - static_cast<std::size_t>(head));
    std::memcpy(buf + head, text, n);
    buf[static_cast<std::size_t>(head) + n] = '\0';
    return buf;
}

char *msg_lit_create(int32_t id, const char *literal)
{
    (void)id;  // the catalogue number: no catalogue to look it up in
    if (literal == nullptr)
        return nullptr;
    char *buf = next_literal_buffer();
    std::size_t n = utf8_cut(literal, MSG_LITERAL_SIZE - 1);
    std::memcpy(buf, literal, n);
    buf[n] = '\0';
    return buf;
}

char *msg_idlit_to_stbuf(const char *text)
{
    int32_t id = 0;
    const char *rest = nullptr;
    if (!split_idlit(text, &id, &rest))
        return nullptr;
    return plain_stbuf(id, rest, std::strlen(rest));
}

char *msg_string_to_stbuf(const char *text)
{
    if (text == nullptr)
        return nullptr;
    return plain_stbuf(0, text, strnlen(text, MSG_STBUF_ARG_MAX));
}

structext *msg_string_to_structext(const char *text)
{
    char *buffer = msg_string_to_stbuf(text);
    if (buffer == nullptr)
        return nullptr;
    structext *st = parse_stbuf(buffer, std::strlen(buffer));
    mem_free(buffer);
    return st;
}

}  // extern "C"
