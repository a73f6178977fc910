// The record's exported operations: pool records, population, copies.
#include <cstring>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"
#include "cairn/utilities.h"
#include "messages/msg_thread_state.hpp"
#include "messages/structext_record.hpp"
#include "platform/alloc.hpp"

using namespace cairn;
using namespace cairn::msg;

extern "C" {

structext *msg_structext_new(uint32_t id, const char *form, int count, const int32_t *descs,
                             const char *const *texts)
{
    if (form == nullptr)
        return nullptr;
    // The record holds the arguments its form consumes: given ones beyond
    // that are dropped, missing ones are kept as null arguments.
    int wanted = get_formatted_args_num(form);
    structext *st = next_pool_record();
    st->msgid = id;
    st->form = xstrdup(form);
    if (count < 1 || wanted < 1 || descs == nullptr || texts == nullptr)
        return st;
    st->args = static_cast<structext_arg *>(
        xcalloc(static_cast<std::size_t>(wanted), sizeof(structext_arg)));
    for (int i = 0; i < wanted; ++i) {
        bool given = i < count && texts[i] != nullptr;
        st->args[i] = {given ? descs[i] : MSG_ARG_TEXT, xstrdup(given ? texts[i] : "null")};
    }
    st->argcount = wanted;
    return st;
}

structext *msg_vstructext_create(uint32_t id, const char *form, va_list ap)
{
    if (form == nullptr)
        return nullptr;
    structext *st = next_pool_record();
    fill_from_pairs(*st, id, form, ap);
    return st;
}

structext *msg_vstructext_populate(structext *st, uint32_t id, const char *form, va_list ap)
{
    if (st == nullptr || form == nullptr)
        return nullptr;
    structext fresh{};
    fill_from_pairs(fresh, id, form, ap);
    move_record(*st, fresh);
    return st;
}

structext *msg_structext_populate(structext *st, uint32_t id, const char *form, ...)
{
    va_list ap;
    va_start(ap, form);
    structext *result = msg_vstructext_populate(st, id, form, ap);
    va_end(ap);
    return result;
}

structext *msg_structext_copy(const structext *st)
{
    if (st == nullptr)
        return nullptr;
    auto *copy = static_cast<structext *>(xcalloc(1, sizeof(structext)));
    copy_record(*copy, *st);
    return copy;
}

void msg_structext_depopulate(structext *st)
{
    if (st == nullptr)
        return;
    mem_free(st->form);
    free_args(st->args, st->argcount);
    st->form = nullptr;
    st->args = nullptr;
    st->argcount = 0;
}

void msg_structext_free(structext *st)
{
    if (st == nullptr)
        return;
    msg_structext_depopulate(st);
    if (st->pooled)
        st->msgid = MSG_UNUSED_ID;
    else
        mem_free(st);
}

}  // extern "C"
