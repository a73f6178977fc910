// The thread's accrued error chain: each text accrued while accrual is on
// wraps the chain so far, newest first ("b->(a)").
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/messages.h"
#include "diagnostics/debug_line.hpp"
#include "frame/errinfo_state.hpp"
#include "platform/alloc.hpp"

namespace cairn {

namespace {

void report_no_memory()
{
    int err = errno;
    msg_print(15000 + err, 2, MSG_TO_STDERR,
              "Unable to allocate memory for storing error string: %s.\n", MSG_ARG_TEXT,
              ox_strerror(static_cast<uint32_t>(err)));
}

// The chain with `text` in front: "%s->(%s)".
void wrap_chain(ErrinfoState &state, const char *text, std::size_t len)
{
    if (state.chain_len + len + 9 > kAccruedChainMax) {
        CAIRN_DEBUG(9, 0x100, "Dropping error string %s\n", text);
        return;
    }
    std::size_t size = len + state.chain_len + 5;
    auto *chain = static_cast<char *>(mem_alloc(size));
    if (chain == nullptr) {
        report_no_memory();
        return;
    }
    std::snprintf(chain, size, "%s->(%s)", text, state.chain);
    mem_free(state.chain);
    state.chain = chain;
    state.chain_len = size - 1;
}

}  // namespace
}  // namespace cairn

using namespace cairn;

extern "C" void err_accrue(const char *text)
{
    ErrinfoState *state = errinfo_state_peek();
    if (text == nullptr || state == nullptr || !state->accrual_on)
        return;
    std::size_t len = std::strlen(text);
    if (state->chain != nullptr) {
        wrap_chain(*state, text, len);
        return;
    }
    if (len + 9 > kAccruedChainMax) {
        CAIRN_DEBUG(9, 0x100, "Dropping error string %s\n", text);
        return;
    }
    state->chain = mem_strdup(text);
    if (state->chain == nullptr) {
        report_no_memory();
        return;
    }
    state->chain_len = len;
}
