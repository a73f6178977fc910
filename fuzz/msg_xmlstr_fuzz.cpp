// The XML-form parser on arbitrary bytes: it never crashes nor reads past
// the text; what it accepts is written back and parses to the same record.
#include <cstdlib>
#include <cstring>

#include "cairn/messages.h"
#include "fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText in(data, size);
    structext *st = msg_xmlstr_to_structext(in.get());
    if (st == nullptr)
        return 0;
    char *again = msg_structext_to_xmlstr(st);
    structext *back = msg_xmlstr_to_structext(again);
    bool same = back != nullptr && back->msgid == st->msgid &&
                std::strcmp(back->form, st->form) == 0 && back->argcount == st->argcount;
    for (int i = 0; same && i < st->argcount; ++i)
        same = back->args[i].desc == st->args[i].desc &&
               std::strcmp(back->args[i].text, st->args[i].text) == 0;
    if (!same || !is_structext_xml(again))
        std::abort();
    msg_structext_free(back);
    std::free(again);
    msg_structext_free(st);
    return 0;
}
