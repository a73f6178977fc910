// Time-outs that need long real waits.
#include <gtest/gtest.h>

#include <sys/time.h>

#include <thread>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "wait_test_util.hpp"

using namespace cairn::testing;

TEST(WaitSlow, TimeoutsAreNeverEarly)
{
    ox_event *e = ox_event_new();
    ox_semaphore *s = ox_semaphore_new(0);
    ASSERT_NE(e, nullptr);
    ASSERT_NE(s, nullptr);
    for (uint32_t ms : {1u, 15u, 250u, 1000u}) {
        double took = elapsed_ms([&] { EXPECT_EQ(ox_event_timedwait(e, ms), OX_ETIMEDOUT); });
        EXPECT_GE(took, ms) << ms;
        EXPECT_LT(took, ms + kLateMarginMs) << ms;
        took = elapsed_ms([&] { EXPECT_EQ(ox_semaphore_timedwait(s, ms), OX_ETIMEDOUT); });
        EXPECT_GE(took, ms) << ms;
        took = elapsed_ms([&] { EXPECT_EQ(ox_thread_sleep(ms), 0); });
        EXPECT_GE(took, ms) << ms;
        EXPECT_LT(took, ms + kLateMarginMs) << ms;
    }
    ox_event_destroy(e);
    ox_semaphore_destroy(s);

    // A condition's relative time-out of seconds and microseconds, after
    // which the mutex is held again.
    ox_mtx *m = nullptr;
    ox_cond *c = nullptr;
    ASSERT_EQ(ox_mtx_create(&m), 1);
    ASSERT_EQ(ox_cond_create(&c), 1);
    ASSERT_EQ(ox_mtx_lock(m), 1);
    timeval rel{1, 500000};
    double took = elapsed_ms([&] { EXPECT_EQ(ox_cond_timedwait(c, m, &rel), 0); });
    EXPECT_GE(took, 1500.0);
    EXPECT_LT(took, 1500.0 + kLateMarginMs);
    int other = -1;
    std::thread([&] { other = ox_mtx_trylock(m); }).join();
    EXPECT_EQ(other, 0);
    ox_mtx_unlock(m);
    ox_cond_destroy(c);
    ox_mtx_destroy(m);
}
