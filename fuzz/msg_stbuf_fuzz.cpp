// The buffer-form parser on arbitrary bytes: it never crashes nor reads
// past the text; what it accepts is written back and parses to the same
// record (texts cut at 2047 bytes), and renders (nested records included)
// without fault.
#include <cstdlib>
#include <cstring>

#include "cairn/messages.h"
#include "fuzz_input.hpp"

namespace {

bool same(const structext *a, const structext *b)
{
    if (a->msgid != b->msgid || std::strcmp(a->form, b->form) != 0 || a->argcount != b->argcount)
        return false;
    for (int i = 0; i < a->argcount; ++i)
        if (a->args[i].desc != b->args[i].desc ||
            std::strncmp(a->args[i].text, b->args[i].text, MSG_STBUF_ARG_MAX) != 0)
            return false;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText in(data, size);
    structext *st = msg_stbuf_to_structext(in.get());
    if (st == nullptr)
        return 0;
    char *again = msg_structext_to_stbuf(st);
    structext *back = msg_stbuf_to_structext(again);
    if (back == nullptr || !same(st, back))
        std::abort();
    std::free(msg_structext_render(st));
    msg_structext_free(back);
    std::free(again);
    msg_structext_free(st);
    return 0;
}
