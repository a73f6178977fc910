#include "fault_injection.hpp"

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
    for (int n = 1; n <= limit; ++n) {
        // Cleared before counting starts: the first last error a thread
        // sets creates its record, which must not take the failure.
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
