#include "fault_injection.hpp"
#include "child_exit.hpp"

#include "cairn/diagnostics.h"
#include "cairn/messages.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>

#include "cairn/frame.h"
#include "child_process.hpp"
#include "platform/alloc_testing.hpp"

namespace cairn::testing {

AllocFaultGuard::~AllocFaultGuard()
{
    alloc_fail_at(0);
    alloc_tracking_stop();
}

namespace {

// A debug line's first writing sets up the program-name lock, the message
// layer's identity and the output path's descriptor list; one clean run
// makes lazily created process-wide facilities (registry, thread records).
// Both happen before counting, so that none of it counts as a leak.
bool warm_up(const std::function<bool()> &attempt)
{
    char name[16];
    ox_get_progname(name, sizeof name);
    msg_print(0, 0, 0, "%s", MSG_ARG_TEXT, "");
    ox_fprintf(stderr, "%s", "");
    if (!attempt()) {
        ADD_FAILURE() << "the call fails without injected failures";
        return false;
    }
    return true;
}

// A child whose call returned its documented failure (checked by the row).
constexpr int kDocumentedFailure = 2;

const char *mode_name(FailMode mode) { return mode == FailMode::once ? "once" : "forever"; }

}  // namespace

int for_each_allocation_failure(const std::function<bool()> &attempt, const FailureSweep &sweep)
{
    AllocFaultGuard guard;
    auto prepare = [&sweep] {
        if (sweep.before_each)
            sweep.before_each();
    };
    prepare();
    if (!warm_up(attempt))
        return -1;
    prepare();
    // What a whole call keeps on purpose (a cache entry, a retired copy
    // whose pointers stay valid): a second clean run tells.
    alloc_tracking_start();
    if (!attempt())
        ADD_FAILURE() << "the call fails the second time without injected failures";
    const long kept = alloc_live();
    for (int n = 1; n <= sweep.limit; ++n) {
        SCOPED_TRACE(::testing::Message()
                     << "allocation " << n << " failing " << mode_name(sweep.mode));
        prepare();
        // Clear the last error first: that also makes the thread's record,
        // which must not be the allocation that fails.
        ox_error_set_last(0, OX_ERRKIND_ERRNO);
        alloc_tracking_start();
        alloc_fail_at(n, sweep.mode == FailMode::forever);
        bool ok = attempt();
        alloc_fail_at(0);
        if (ok) {
            EXPECT_EQ(alloc_live(), kept) << "leak after success";
            return n;
        }
        if (sweep.last_error != 0) {
            EXPECT_EQ(ox_error_get_last(), sweep.last_error);
        }
        EXPECT_EQ(alloc_live(), 0) << "leak after failure";
        alloc_tracking_stop();
        if (sweep.after_failure)
            sweep.after_failure();
    }
    ADD_FAILURE() << "the call never succeeded within " << sweep.limit << " allocations";
    return -1;
}

int for_each_allocation_failure(const std::function<bool()> &attempt, int limit)
{
    FailureSweep sweep;
    sweep.limit = limit;
    return for_each_allocation_failure(attempt, sweep);
}

int for_each_fatal_allocation_failure(const std::function<bool()> &attempt, FailMode mode,
                                      bool *recovered, int limit)
{
    if (recovered != nullptr)
        *recovered = false;
    AllocFaultGuard guard;
    if (!warm_up(attempt))
        return -1;
    for (int n = 1; n <= limit; ++n) {
        // Failures the test had before the fork are not the child's.
        const ::testing::TestResult *result =
            ::testing::UnitTest::GetInstance()->current_test_info()->result();
        int failures_before = result->total_part_count();
        ChildResult child = run_in_child([&] {
            alloc_fail_at(n, mode == FailMode::forever);
            bool ok = attempt();
            alloc_fail_at(0);
            std::fflush(nullptr);
            // _exit: exit handlers have no business running under injection.
            bool failed = result->total_part_count() != failures_before;
            cairn::testing::child_exit(failed ? kChildAssertionFailed
                                       : ok   ? 0
                                              : kDocumentedFailure);
        });
        if (child.exited && child.exit_code == 0)
            return n;
        bool stopped = child.exited && child.exit_code == 1 &&
                       child.err.find(": out of memory (") != std::string::npos;
        bool documented = child.exited && child.exit_code == kDocumentedFailure;
        if (documented && recovered != nullptr)
            *recovered = true;
        if (!stopped && !documented) {
            ADD_FAILURE() << "allocation " << n << " failing " << mode_name(mode)
                          << ": neither success nor a failing stop (exit " << child.exit_code
                          << ", signal " << child.signal << ")\n"
                          << child.err;
            return -1;
        }
    }
    ADD_FAILURE() << "the call never succeeded within " << limit << " allocations";
    return -1;
}

}  // namespace cairn::testing
