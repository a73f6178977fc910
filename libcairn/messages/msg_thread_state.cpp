#include "messages/msg_thread_state.hpp"

#include <cstdio>
#include <cstdlib>

#include "cairn/diagnostics.h"
#include "cairn/utilities.h"
#include "platform/alloc.hpp"
#include "frame/environment.hpp"
#include "platform/thread_record.hpp"

namespace cairn::msg {
namespace {

struct MsgThreadState {
    msg_t ring[MSG_RING_SLOTS];
    int ring_next;
    structext *pool;
    int pool_size;
    int pool_next;
    char *literals[MSG_LITERAL_SLOTS];
    int literal_next;
};

// The pool size chosen by the environment, reported as a debug line.
int choose_pool_size()
{
    char value[32];
    if (!environment_read("MSG_STRUCTURED_TEXT_POOL_SIZE", value, sizeof value))
        return 32;
    int asked = std::atoi(value);
    int size = asked >= 128 ? 128 : asked >= 64 ? 64 : 32;
    if (Debug >= 0) {
        if (size == 32)
            debugprintf("Env MSG_STRUCTURED_TEXT_POOL_SIZE set to %d, leaving poolsize as 32\n",
                        asked);
        else
            debugprintf("Env MSG_STRUCTURED_TEXT_POOL_SIZE set to %d, setting poolsize to %d\n",
                        asked, size);
    }
    return size;
}

void release_state(ThreadRecord &rec)
{
    auto *state = static_cast<MsgThreadState *>(rec.messages);
    rec.messages = nullptr;
    for (msg_t &m : state->ring)
        release_ring_object(m);
    for (int i = 0; i < state->pool_size; ++i)
        msg_structext_depopulate(&state->pool[i]);
    mem_free(state->pool);
    for (char *lit : state->literals)
        mem_free(lit);
    mem_free(state);
}

MsgThreadState *make_state()
{
    auto *state = static_cast<MsgThreadState *>(xcalloc(1, sizeof(MsgThreadState)));
    for (msg_t &m : state->ring) {
        m.in_ring = 1;
        m.stext.msgid = MSG_UNUSED_ID;
    }
    state->pool_size = choose_pool_size();
    state->pool = static_cast<structext *>(
        xcalloc(static_cast<std::size_t>(state->pool_size), sizeof(structext)));
    for (int i = 0; i < state->pool_size; ++i) {
        state->pool[i].msgid = MSG_UNUSED_ID;
        state->pool[i].pooled = 1;
    }
    return state;
}

MsgThreadState &state()
{
    ThreadRecord *rec = thread_record();
    if (rec == nullptr)  // the record could not be made: the process is ending
        std::abort();
    if (rec->messages == nullptr) {
        set_message_state_release_hook(release_state);
        rec->messages = make_state();
    }
    return *static_cast<MsgThreadState *>(rec->messages);
}

}  // namespace

void release_ring_object(msg_t &m)
{
    mem_free(m.text);
    m.text = nullptr;
    msg_structext_depopulate(&m.stext);
    m.stext.msgid = MSG_UNUSED_ID;
}

msg_t *next_ring_object()
{
    MsgThreadState &s = state();
    msg_t &m = s.ring[s.ring_next];
    s.ring_next = (s.ring_next + 1) % MSG_RING_SLOTS;
    release_ring_object(m);
    return &m;
}

structext *next_pool_record()
{
    MsgThreadState &s = state();
    structext &st = s.pool[s.pool_next];
    s.pool_next = (s.pool_next + 1) % s.pool_size;
    if (st.msgid != MSG_UNUSED_ID || st.form != nullptr) {
        if (Debug >= 9)
            ox_fprintf(stderr, "freeing unused structext with msgid %d\n",
                       static_cast<int>(st.msgid));
        msg_structext_depopulate(&st);
    }
    st.msgid = MSG_UNUSED_ID;
    return &st;
}

char *next_literal_buffer()
{
    MsgThreadState &s = state();
    char *&buf = s.literals[s.literal_next];
    s.literal_next = (s.literal_next + 1) % MSG_LITERAL_SLOTS;
    if (buf == nullptr)
        buf = static_cast<char *>(xmalloc(MSG_LITERAL_SIZE));
    buf[0] = '\0';
    return buf;
}

int pool_size_for_testing() { return state().pool_size; }

}  // namespace cairn::msg
