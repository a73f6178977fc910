// Registration of the exit-time clean-up of a lazily created process-wide
// facility: the handler frees the facility and resets its once-guard.
#pragma once

namespace cairn {

// Register `handler` to run when the process ends, last registered first.
// Returns 0 on success.
int register_exit_cleanup(void (*handler)(void));

// Make sure the C library's exit processing reaches the handler list (it
// creates the list then if need be).  Allocates nothing of the library and
// sets no last error, so it may be called from anywhere.
void install_exit_hook();

}  // namespace cairn
