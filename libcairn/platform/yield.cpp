#include "platform/yield.hpp"

#include <sched.h>

#include "platform/sync_object.hpp"

namespace cairn {

// A zero-length alertable sleep runs the calls queued to this thread; the
// time slice is then given up as well.
void alertable_yield()
{
    sync_wait(nullptr, 0);
    sched_yield();
}

}  // namespace cairn
