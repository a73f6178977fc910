// The thread's errinfo state, kept in its library record.
#include "frame/errinfo_state.hpp"

#include "platform/alloc.hpp"
#include "platform/thread_record.hpp"

namespace cairn {

ErrinfoState *errinfo_state_peek()
{
    ThreadRecord *rec = thread_record_peek();
    return rec != nullptr ? rec->errinfo : nullptr;
}

ErrinfoState *errinfo_state()
{
    ThreadRecord *rec = thread_record();
    if (rec == nullptr)
        return nullptr;
    if (rec->errinfo == nullptr)
        rec->errinfo = mem_new<ErrinfoState>();
    return rec->errinfo;
}

bool errinfo_accrual_on()
{
    ErrinfoState *state = errinfo_state_peek();
    return state != nullptr && state->accrual_on;
}

void errinfo_state_free(ErrinfoState *state)
{
    if (state == nullptr)
        return;
    msg_free(state->record);
    msg_free(state->saved);
    mem_free(state->chain);
    mem_delete(state);
}

}  // namespace cairn
