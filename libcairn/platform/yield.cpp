#include "platform/yield.hpp"

#include <sched.h>

namespace cairn {

void alertable_yield() { sched_yield(); }

}  // namespace cairn
