#include "fault_injection.hpp"

#include "cairn/diagnostics.h"
#include "cairn/messages.h"

#include <gtest/gtest.h>

#include "cairn/frame.h"
#include "platform/alloc_testing.hpp"

namespace cairn::testing {

AllocFaultGuard::~AllocFaultGuard()
{
    alloc_fail_at(0);
    alloc_tracking_stop();
}

int for_each_allocation_failure(const std::function<bool()> &attempt, int limit)
{
    AllocFaultGuard guard;
    // A debug line's first writing sets up the program-name lock, the
    // message layer's identity and the output path's descriptor list: do
    // that now, outside the counted runs.
    char name[16];
    ox_get_progname(name, sizeof name);
    msg_print(0, 0, 0, "%s", MSG_ARG_TEXT, "");
    ox_fprintf(stderr, "%s", "");
    // One clean run first, so that lazily created process-wide facilities
    // (registry, thread records) exist and are not counted as leaks.
    if (!attempt()) {
        ADD_FAILURE() << "constructor fails without injected failures";
        return -1;
    }
    for (int n = 1; n <= limit; ++n) {
        // Clear the last error first: that also makes the thread's record,
        // which must not be the allocation that fails.
        ox_error_set_last(0, OX_ERRKIND_ERRNO);
        alloc_tracking_start();
        alloc_fail_at(n);
        bool ok = attempt();
        alloc_fail_at(0);
        if (ok) {
            EXPECT_EQ(alloc_live(), 0) << "leak after success with failure point " << n;
            return n;
        }
        EXPECT_EQ(ox_error_get_last(), OX_ENOMEM) << "failure point " << n;
        EXPECT_EQ(alloc_live(), 0) << "leak with allocation " << n << " failing";
    }
    ADD_FAILURE() << "constructor never succeeded within " << limit << " allocations";
    return -1;
}

}  // namespace cairn::testing
