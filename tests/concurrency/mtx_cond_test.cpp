// The boolean pair: the recursive ox_mtx and ox_cond with relative
// time-outs.
#include <gtest/gtest.h>

#include <sys/time.h>

#include <atomic>
#include <thread>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "wait_test_util.hpp"

using namespace cairn::testing;

namespace {

int trylock_elsewhere(ox_mtx *m)
{
    int rc = -1;
    std::thread([&] {
        rc = ox_mtx_trylock(m);
        if (rc == 1)
            ox_mtx_unlock(m);
    }).join();
    return rc;
}

}  // namespace

TEST(MtxCond, RecursiveMutexAndASignalForOneCountedWaiter)
{
    ox_mtx *m = nullptr;
    ASSERT_EQ(ox_mtx_create(&m), 1);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(ox_mtx_lock(m), 1);
    EXPECT_EQ(ox_mtx_lock(m), 1);
    EXPECT_EQ(ox_mtx_trylock(m), 1);
    EXPECT_EQ(trylock_elsewhere(m), 0);
    EXPECT_EQ(ox_mtx_unlock(m), 1);
    EXPECT_EQ(ox_mtx_unlock(m), 1);
    EXPECT_EQ(trylock_elsewhere(m), 0);                           // one level still held
    std::thread([&] { EXPECT_EQ(ox_mtx_unlock(m), 1); }).join();  // not owner: success
    EXPECT_EQ(trylock_elsewhere(m), 0);                           // ...and nothing released
    EXPECT_EQ(ox_mtx_unlock(m), 1);
    EXPECT_EQ(trylock_elsewhere(m), 1);
    EXPECT_EQ(ox_mtx_destroy(m), 1);

    EXPECT_EQ(ox_mtx_create(nullptr), 0);
    EXPECT_EQ(ox_mtx_destroy(nullptr), 0);
    EXPECT_EQ(ox_mtx_lock(nullptr), 0);
    EXPECT_EQ(ox_mtx_trylock(nullptr), 0);
    EXPECT_EQ(ox_mtx_unlock(nullptr), 0);

    // The condition: a signal wakes one counted waiter.
    ox_cond *c = nullptr;
    ASSERT_EQ(ox_mtx_create(&m), 1);
    ASSERT_EQ(ox_cond_create(&c), 1);

    // Nobody waits: the signal is dropped, a later wait times out.
    EXPECT_EQ(ox_cond_signal(c), 1);
    ASSERT_EQ(ox_mtx_lock(m), 1);
    timeval short_wait{0, 20000};
    double took = elapsed_ms([&] { EXPECT_EQ(ox_cond_timedwait(c, m, &short_wait), 0); });
    EXPECT_GE(took, 20.0);
    EXPECT_EQ(trylock_elsewhere(m), 0);  // held again after the time-out
    timeval below_a_millisecond{0, 999};
    EXPECT_EQ(ox_cond_timedwait(c, m, &below_a_millisecond), 0);
    timeval negative{-5, -1};
    EXPECT_EQ(ox_cond_timedwait(c, m, &negative), 0);
    ASSERT_EQ(ox_mtx_unlock(m), 1);

    // A predicate handed over under the mutex, many times.
    int ready = 0, consumed = 0;
    std::thread consumer([&] {
        ox_mtx_lock(m);
        for (int n = 0; n < 200; ++n) {
            while (ready == 0)
                ox_cond_wait(c, m);
            --ready;
            ++consumed;
        }
        ox_mtx_unlock(m);
    });
    for (int n = 0; n < 200; ++n) {
        ox_mtx_lock(m);
        ++ready;
        ox_mtx_unlock(m);
        ox_cond_signal(c);
        ASSERT_TRUE(eventually([&] {
            ox_mtx_lock(m);
            bool taken = ready == 0;
            ox_mtx_unlock(m);
            if (!taken)
                ox_cond_signal(c);  // a signal before the wait is not kept
            return taken;
        }));
    }
    consumer.join();
    EXPECT_EQ(consumed, 200);
    EXPECT_EQ(ox_cond_destroy(c), 1);
    EXPECT_EQ(ox_mtx_destroy(m), 1);

    EXPECT_EQ(ox_cond_create(nullptr), 0);
    EXPECT_EQ(ox_cond_destroy(nullptr), 0);
    EXPECT_EQ(ox_cond_signal(nullptr), 0);
    EXPECT_EQ(ox_cond_wait(nullptr, nullptr), 0);
}

// A waiter cancelled inside ox_cond_wait is checked with the other cancelled
// waits (StressCancel).
