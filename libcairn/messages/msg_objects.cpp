// Message objects: creation into the thread's ring, copies the caller owns,
// and the message id helpers.
#include <cstdlib>
#include <cstring>

#include "cairn/messages.h"
#include "cairn/utilities.h"
#include "messages/msg_render.hpp"
#include "messages/msg_thread_state.hpp"
#include "messages/structext_record.hpp"
#include "platform/alloc.hpp"

namespace cairn::msg {
namespace {

void set_severity(msg_errcode &err, int32_t id, uint32_t severity)
{
    err.number = id;
    err.type = static_cast<int32_t>(severity / 10000);
    err.severity = static_cast<int32_t>((severity / 1000) % 10);
    err.code = static_cast<int32_t>(severity % 1000);
}

// Fills the next ring object with the record `st` (moved in) and its text.
// The record is built before the slot is taken: its arguments may refer to
// the object the slot still holds.
msg_t *ring_object_from(structext &st, int32_t id, uint32_t severity)
{
    msg_t *m = next_ring_object();
    move_record(m->stext, st);
    m->stext.pooled = 0;
    set_severity(m->err, id, severity);
    m->text = render_record(m->stext, 0);
    return m;
}

}  // namespace

}  // namespace cairn::msg

using namespace cairn;
using namespace cairn::msg;

extern "C" {

uint32_t mc_facility_id(uint32_t facility) { return facility | 0x800u; }

uint32_t mc_message_id(uint32_t facility, uint32_t number)
{
    return (mc_facility_id(facility) << 16) + number;
}

msg_t *msg_vcreate(int32_t id, uint32_t severity, const char *form, va_list ap)
{
    if (form == nullptr)
        return nullptr;
    structext st{};
    fill_from_pairs(st, static_cast<uint32_t>(id), form, ap);
    return ring_object_from(st, id, severity);
}

msg_t *msg_create(int32_t id, uint32_t severity, const char *form, ...)
{
    va_list ap;
    va_start(ap, form);
    msg_t *m = msg_vcreate(id, severity, form, ap);
    va_end(ap);
    return m;
}

msg_t *msg_create_from_structext(uint32_t severity, const structext *st)
{
    if (st == nullptr || st->form == nullptr)
        return nullptr;
    structext copy{};
    copy_record(copy, *st);
    return ring_object_from(copy, static_cast<int32_t>(st->msgid), severity);
}

msg_t *msg_create_from_mlit(uint32_t severity, const char *text)
{
    int32_t id = 0;
    const char *rest = nullptr;
    if (!split_idlit(text, &id, &rest))
        return nullptr;
    structext st{static_cast<uint32_t>(id), xstrdup(rest), 0, nullptr, 0};
    msg_t *m = msg_create_from_structext(severity, &st);
    msg_structext_depopulate(&st);
    return m;
}

msg_t *msg_copy(const msg_t *msg)
{
    if (msg == nullptr)
        return nullptr;
    auto *m = static_cast<msg_t *>(xcalloc(1, sizeof(msg_t)));
    m->err = msg->err;
    m->text = xstrdup(msg->text);
    copy_record(m->stext, msg->stext);
    return m;
}

void msg_free(msg_t *msg)
{
    if (msg == nullptr)
        return;
    if (msg->in_ring) {
        release_ring_object(*msg);
        return;
    }
    mem_free(msg->text);
    msg_structext_depopulate(&msg->stext);
    mem_free(msg);
}

}  // extern "C"
