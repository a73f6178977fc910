// The literal parsers on arbitrary text: "<id>:<text>" becomes the buffer
// form, a message object and back, plain text becomes a one-text record,
// and each parse agrees with the buffer-form parser; none crashes, reads
// past the text or keeps more than the cut.
#include <cstdlib>
#include <cstring>

#include "cairn/messages.h"
#include "fuzz_input.hpp"

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

void check_idlit(const char *text)
{
    char *stbuf = msg_idlit_to_stbuf(text);
    msg_t *msg = msg_create_from_mlit(10000, text);
    // Both accept exactly the texts with a decimal id before a ':'.
    check((stbuf == nullptr) == (msg == nullptr));
    if (stbuf != nullptr) {
        structext *st = msg_stbuf_to_structext(stbuf);
        check(st != nullptr && st->msgid == msg->stext.msgid);
        check(msg->text != nullptr);
        msg_structext_free(st);
    }
    std::free(stbuf);
    msg_free(msg);
}

void check_plain(const char *text)
{
    char *stbuf = msg_string_to_stbuf(text);
    structext *direct = msg_string_to_structext(text);
    check(stbuf != nullptr && direct != nullptr);
    structext *parsed = msg_stbuf_to_structext(stbuf);
    check(parsed != nullptr && std::strcmp(parsed->form, direct->form) == 0);
    check(std::strlen(direct->form) <= MSG_STBUF_ARG_MAX);
    check(std::strncmp(direct->form, text, std::strlen(direct->form)) == 0);
    msg_structext_free(parsed);
    msg_structext_free(direct);
    std::free(stbuf);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText input(data, size);
    check_idlit(input.get());
    check_plain(input.get());
    int xml = is_structext_xml(input.get());
    check(xml == 0 || (std::strstr(input.get(), "<MSG") && std::strstr(input.get(), "</MSG>")));
    char *lit = msg_mlit_create(7, input.get());
    check(lit != nullptr && std::strlen(lit) < MSG_LITERAL_SIZE);
    return 0;
}
