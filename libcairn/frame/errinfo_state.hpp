// The calling thread's errinfo state: its errinfo record, the saved-error
// slot and the accrued error chain.  It hangs off the thread's library
// record and is freed with it.
#pragma once

#include <cstddef>

#include "cairn/messages.h"

namespace cairn {

struct ErrinfoState {
    msg_t *record = nullptr;  // filled by err_setall(), owned
    int catalog = 0;          // the record text's catalog number, or 0
    msg_t *saved = nullptr;   // err_save()'s slot, owned
    bool accrual_on = false;  // switched on by blow_err()
    char *chain = nullptr;    // newest first: "c->(b->(a))"
    std::size_t chain_len = 0;
};

// The thread's state, created on first use; nullptr when it cannot be.
ErrinfoState *errinfo_state();
// The thread's state, or nullptr when it has none (creates nothing).
ErrinfoState *errinfo_state_peek();
// Free a thread's state (thread end).
void errinfo_state_free(ErrinfoState *state);

// Whether the calling thread accrues printed errors (printerr()).
bool errinfo_accrual_on();

// The longest chain err_accrue() builds, counted with its 9 bytes of room.
constexpr std::size_t kAccruedChainMax = 19456;

}  // namespace cairn
