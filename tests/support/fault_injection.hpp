// Allocation-failure loops: run a call with its 1st, 2nd, ... Nth
// allocation failing until it succeeds, checking each failure path.
#pragma once

#include <functional>

namespace cairn::testing {

// Which allocations fail at step n: only the nth, or the nth and every
// later one (the way real exhaustion looks).
enum class FailMode { once, forever };

struct FailureSweep {
    FailMode mode = FailMode::once;
    // The thread's last error after a failed attempt (0: not checked).
    int last_error = 53;  // ENOMEM
    // Runs after each failed attempt, with injection off: checks that an
    // object which existed before the call is still whole and usable.
    std::function<void()> after_failure;
    // Runs before each attempt, with injection off: puts back state that a
    // successful attempt used up.
    std::function<void()> before_each;
    int limit = 64;
};

// Calls `attempt` twice normally (the first creates lazily made
// process-wide state; the second measures what a whole call keeps on
// purpose, such as a cache entry), then with allocation n failing, for
// n = 1, 2, ... until it reports success.  `attempt` returns true on
// success (and then releases what it made itself).  Each failed attempt
// must leave the last error as `sweep.last_error` and nothing allocated;
// the successful one must keep what the clean call kept.  Returns the
// number of allocations the successful attempt needed.
int for_each_allocation_failure(const std::function<bool()> &attempt, const FailureSweep &sweep);
int for_each_allocation_failure(const std::function<bool()> &attempt, int limit = 64);

// The same loop for calls whose allocation failures end the process (the
// failing-stop allocators): each step runs in a forked child, which must
// succeed, return a failure that `attempt` checked itself (false), or end
// with status 1 and the out-of-memory line; never crash.  Returns the
// allocations needed.  `*recovered` (when given) tells whether some step
// returned instead of stopping: only then can failing forever differ from
// failing once, since a stop at allocation n leaves no later allocation.
int for_each_fatal_allocation_failure(const std::function<bool()> &attempt, FailMode mode,
                                      bool *recovered = nullptr, int limit = 64);

// RAII guard that turns failure injection and tracking off again.
struct AllocFaultGuard {
    ~AllocFaultGuard();
};

}  // namespace cairn::testing
