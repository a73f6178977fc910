#include "frame/exit_cleanup.hpp"

#include <cstdlib>

namespace cairn {

// The C library's exit processing runs handlers last registered first, as
// the library's own handler list will.
int register_exit_cleanup(void (*handler)(void)) { return std::atexit(handler) == 0 ? 0 : 1; }

}  // namespace cairn
