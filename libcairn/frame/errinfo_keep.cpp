// Keeping errinfo records: copies, the thread's saved-error slot, freeing,
// printing, and handing out the accrued chain.
#include <cerrno>

#include "cairn/frame.h"
#include "cairn/messages.h"
#include "diagnostics/debug_line.hpp"
#include "frame/errinfo_state.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

constexpr int32_t kChainNumber = -10001;

// A record the thread holds is forgotten by the thread before it is freed.
void detach(msg_t *rec)
{
    ErrinfoState *state = errinfo_state_peek();
    if (state == nullptr)
        return;
    if (state->record == rec)
        state->record = nullptr;
    if (state->saved == rec)
        state->saved = nullptr;
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" {

msg_t *err_dup(const msg_t *rec) { return rec != nullptr ? msg_copy(rec) : nullptr; }

msg_t *err_restore(msg_t *rec)
{
    if (rec == nullptr)
        return nullptr;
    msg_t *copy = msg_copy(rec);
    err_free(rec);
    return copy;
}

msg_t *err_save(const msg_t *rec)
{
    ErrinfoState *state = errinfo_state();
    if (rec == nullptr || state == nullptr)
        return nullptr;
    msg_t *copy = msg_copy(rec);
    if (copy == nullptr)
        return nullptr;
    if (msg_t *old = state->saved) {
        CAIRN_DEBUG(1, 1, "err_save: overwriting old tmperr <%s>\n", old->text ? old->text : "");
        msg_free(old);
    }
    state->saved = copy;
    return copy;
}

void err_free(msg_t *rec)
{
    if (rec == nullptr)
        return;
    detach(rec);
    msg_free(rec);
}

int err_print(const msg_t *rec)
{
    if (rec == nullptr || rec->text == nullptr)
        return 0;
    return msg_print(rec->err.number, 2, MSG_TO_STDERR, "%s", MSG_ARG_TEXT, rec->text);
}

msg_t *blow_err(int flag)
{
    ErrinfoState *state = errinfo_state();
    if (state == nullptr)
        return nullptr;
    state->accrual_on = true;
    if (state->chain == nullptr)
        return nullptr;
    msg_t *msg = msg_create(kChainNumber, 0, "%s", MSG_ARG_ERRTEXT, state->chain);
    if (flag == 1) {
        mem_free(state->chain);
        state->chain = nullptr;
        state->chain_len = 0;
    }
    return msg;
}

}  // extern "C"
