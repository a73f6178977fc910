// Registration of the exit-time clean-up of a lazily created process-wide
// facility: the handler frees the facility and resets its once-guard.
#pragma once

namespace cairn {

// Register `handler` to run when the process ends, last registered first.
// Returns 0 on success.
int register_exit_cleanup(void (*handler)(void));

}  // namespace cairn
