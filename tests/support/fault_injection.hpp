// Allocation-failure loops: run a constructor with its 1st, 2nd, ... Nth
// allocation failing until it succeeds, checking each failure path.
#pragma once

#include <functional>

namespace cairn::testing {

// Calls `attempt` once normally (to create lazily made process-wide state),
// then with allocation n failing, for n = 1, 2, ... until it
// reports success.  `attempt` returns true on success (and then releases
// what it made itself).  Each failed attempt must leave the last error at
// ENOMEM (53) and nothing allocated.  Returns the number of allocations the
// successful attempt needed.
int for_each_allocation_failure(const std::function<bool()> &attempt, int limit = 64);

// RAII guard that turns failure injection and tracking off again.
struct AllocFaultGuard {
    ~AllocFaultGuard();
};

}  // namespace cairn::testing
