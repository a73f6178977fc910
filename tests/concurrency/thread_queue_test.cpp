// The thread pool: results and last errors, growth on demand up to the
// maximum, retirement to the minimum (idle time shortened through the test
// seam), reaping, destroy with and without the wait flag, destroy from a
// worker, a work function that never returns, cancelled workers, timers
// armed by workers, construction under allocation failures.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/thread_queue_testing.hpp"
#include "wait_test_util.hpp"

using cairn::testing::eventually;

namespace {

void *item(intptr_t v) { return reinterpret_cast<void *>(v); }

std::atomic<int> g_done{0};
std::atomic<int> g_freed{0};
std::atomic<bool> g_gate{false};
void count_work(void *) { g_done.fetch_add(1); }
void count_free(void *) { g_freed.fetch_add(1); }
void gated_work(void *)
{
    while (!g_gate.load())
        ox_thread_sleep(1);
    g_done.fetch_add(1);
}

struct IdleTime {
    explicit IdleTime(uint32_t ms) { cairn::testing::threadqueue_idle_ms(ms); }
    ~IdleTime() { cairn::testing::threadqueue_idle_ms(60000); }
};

class ThreadQueue : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_done = 0;
        g_freed = 0;
        g_gate = false;
    }
};

TEST_F(ThreadQueue, ResultsAndLastErrors)
{
    EXPECT_EQ(ox_threadqueue_new(nullptr, nullptr, 1, 2, 0), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_threadqueue_new(count_work, nullptr, 3, 2, 0), nullptr);
    EXPECT_EQ(ox_threadqueue_new(count_work, nullptr, 0, 0, 0), nullptr);
    ox_threadqueue *q = ox_threadqueue_new(count_work, nullptr, 1, 3, 0);
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(ox_threadqueue_size(q), 1);
    EXPECT_EQ(ox_threadqueue_min_size(q), 1);
    EXPECT_EQ(ox_threadqueue_max_size(q), 3);
    EXPECT_EQ(ox_threadqueue_set_sizes(q, 5, 3), OX_EINVAL);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_threadqueue_min_size(q), 1);
    EXPECT_EQ(ox_threadqueue_set_sizes(q, 0, 255), 0);
    EXPECT_EQ(ox_threadqueue_min_size(q), 0);
    EXPECT_EQ(ox_threadqueue_max_size(q), 255);
    EXPECT_EQ(ox_threadqueue_size(q), 1);  // running workers are left alone
    EXPECT_EQ(ox_threadqueue_push(nullptr, item(1)), OX_ENULL);
    EXPECT_EQ(ox_threadqueue_push(q, nullptr), OX_ENULL);
    EXPECT_EQ(ox_threadqueue_pending(nullptr), 0);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_threadqueue_size(nullptr), 0);
    EXPECT_EQ(ox_threadqueue_set_sizes(nullptr, 0, 1), OX_ENULL);
    EXPECT_EQ(ox_threadqueue_destroy(nullptr), OX_ENULL);
    EXPECT_EQ(ox_threadqueue_pending(q), 0);
    EXPECT_EQ(ox_threadqueue_destroy(q), 0);
}

TEST_F(ThreadQueue, GrowsToTheMaximumAndRetiresToTheMinimum)
{
    IdleTime fast(50);
    ox_threadqueue *q = ox_threadqueue_new(gated_work, count_free, 2, 4, 0);
    ASSERT_NE(q, nullptr);
    for (intptr_t v = 1; v <= 10; ++v)
        ASSERT_EQ(ox_threadqueue_push(q, item(v)), 0);
    EXPECT_EQ(ox_threadqueue_size(q), 4);
    EXPECT_GE(ox_threadqueue_pending(q), 6);
    g_gate = true;
    ASSERT_TRUE(eventually([] { return g_done.load() == 10; }));
    EXPECT_TRUE(eventually([] { return g_freed.load() == 10; }));
    EXPECT_EQ(ox_threadqueue_pending(q), 0);
    // Idle beyond the (shortened) idle time: back to the minimum.
    EXPECT_TRUE(eventually([q] { return ox_threadqueue_size(q) == 2; }));
    // The next push reaps the retired workers and finds idle ones.
    ASSERT_EQ(ox_threadqueue_push(q, item(11)), 0);
    ASSERT_TRUE(eventually([] { return g_done.load() == 11; }));
    EXPECT_LE(ox_threadqueue_size(q), 3);
    EXPECT_EQ(ox_threadqueue_destroy(q), 0);

    // A minimum of 0: starts from nothing and goes back to it when idle.
    g_done = 0;
    q = ox_threadqueue_new(count_work, nullptr, 0, 2, 0);
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(ox_threadqueue_size(q), 0);
    ASSERT_EQ(ox_threadqueue_push(q, item(1)), 0);
    EXPECT_EQ(ox_threadqueue_size(q), 1);
    ASSERT_TRUE(eventually([] { return g_done.load() == 1; }));
    EXPECT_TRUE(eventually([q] { return ox_threadqueue_size(q) == 0; }));
    for (intptr_t v = 2; v <= 50; ++v)
        ASSERT_EQ(ox_threadqueue_push(q, item(v)), 0);
    ASSERT_TRUE(eventually([] { return g_done.load() == 50; }));
    EXPECT_LE(ox_threadqueue_size(q), 2);
    EXPECT_EQ(ox_threadqueue_destroy(q), 0);
}

TEST_F(ThreadQueue, DestroyWithTheWaitFlagDrainsWithoutItFrees)
{
    ox_threadqueue *q = ox_threadqueue_new(
        [](void *) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            g_done.fetch_add(1);
        },
        count_free, 1, 2, 1);
    ASSERT_NE(q, nullptr);
    for (intptr_t v = 1; v <= 40; ++v)
        ASSERT_EQ(ox_threadqueue_push(q, item(v)), 0);
    EXPECT_EQ(ox_threadqueue_destroy(q), 0);
    EXPECT_EQ(g_done.load(), 40);
    EXPECT_EQ(g_freed.load(), 40);

    // Without the wait flag destroy frees what is left and skips a stuck
    // worker.
    g_done = 0;
    g_freed = 0;
    q = ox_threadqueue_new(gated_work, count_free, 1, 1, 0);
    ASSERT_NE(q, nullptr);
    for (intptr_t v = 1; v <= 5; ++v)
        ASSERT_EQ(ox_threadqueue_push(q, item(v)), 0);
    // The one worker is stuck in item 1; destroy returns all the same.
    ASSERT_TRUE(eventually([q] { return ox_threadqueue_pending(q) == 4; }));
    EXPECT_EQ(ox_threadqueue_destroy(q), 0);
    // Items never started were freed without being worked on.
    EXPECT_EQ(g_freed.load(), 4);
    EXPECT_EQ(g_done.load(), 0);
    // The stuck worker finishes later and frees the rest of the queue.
    g_gate = true;
    EXPECT_TRUE(eventually([] { return g_freed.load() == 5; }));
    EXPECT_EQ(g_done.load(), 1);
}

std::atomic<ox_thread *> g_worker{nullptr};

TEST_F(ThreadQueue, ACancelledWorkerLeavesThroughTheUsualPath)
{
    ox_threadqueue *q = ox_threadqueue_new(
        [](void *) {
            g_worker = ox_thread_self();
            for (;;)
                ox_thread_sleep(60000);  // alertable: the cancel ends it here
        },
        count_free, 0, 1, 0);
    ASSERT_NE(q, nullptr);
    ASSERT_EQ(ox_threadqueue_push(q, item(1)), 0);
    ASSERT_TRUE(eventually([] { return g_worker.load() != nullptr; }));
    EXPECT_EQ(ox_threadqueue_size(q), 1);
    ASSERT_EQ(ox_thread_cancel(g_worker.load()), 0);
    EXPECT_TRUE(eventually([q] { return ox_threadqueue_size(q) == 0; }));
    // The slot is reaped and a new worker takes the next item.
    ox_threadqueue_set_sizes(q, 0, 1);
    EXPECT_EQ(ox_threadqueue_destroy(q), 0);
}

std::atomic<ox_threadqueue *> g_self_queue{nullptr};
std::atomic<int> g_self_result{-1};
std::atomic<int> g_self_errno{-1};
std::atomic<uint64_t> g_timer_thread{0};
std::atomic<int> g_timer_calls{0};
std::atomic<uint64_t> g_worker_thread{0};
ox_timer *g_timer = nullptr;  // used by the one worker only

// On the queue's one worker: item 1 tries to destroy the queue, item 2 arms
// a periodic timer and leaves it armed (it goes on firing in the worker's
// idle waits, which must not end the worker), item 3 checks it runs on the
// same worker and disarms the timer.
void worker_items(void *it)
{
    uint64_t self = ox_thread_id(ox_thread_self());
    if (it == item(1)) {
        g_self_result = ox_threadqueue_destroy(g_self_queue.load());
        g_self_errno = ox_error_get_last();
    } else if (it == item(2)) {
        g_worker_thread = self;
        g_timer = ox_timer_new(
            5, 0,
            [](void *) {
                g_timer_thread = ox_thread_id(ox_thread_self());
                g_timer_calls.fetch_add(1);
            },
            nullptr, nullptr);
        EXPECT_NE(g_timer, nullptr);
        EXPECT_EQ(ox_timer_start(g_timer), 0);
    } else {
        EXPECT_EQ(self, g_worker_thread.load());
        ox_timer_destroy(g_timer);
    }
    g_done.fetch_add(1);
}

TEST_F(ThreadQueue, DestroyFromAWorkerIsRefusedAndATimerItArmsFiresOnIt)
{
    ox_threadqueue *q = ox_threadqueue_new(worker_items, nullptr, 1, 1, 0);
    ASSERT_NE(q, nullptr);
    g_self_queue = q;
    ASSERT_EQ(ox_threadqueue_push(q, item(1)), 0);
    ASSERT_TRUE(eventually([] { return g_done.load() == 1; }));
    EXPECT_EQ(g_self_result.load(), OX_EDEADLK);
    EXPECT_EQ(g_self_errno.load(), OX_EDEADLK);
    // The queue stays usable.
    ASSERT_EQ(ox_threadqueue_push(q, item(2)), 0);
    ASSERT_TRUE(eventually([] { return g_timer_calls.load() >= 3; }));
    EXPECT_EQ(g_timer_thread.load(), g_worker_thread.load());
    EXPECT_EQ(ox_threadqueue_size(q), 1);
    ASSERT_EQ(ox_threadqueue_push(q, item(3)), 0);
    ASSERT_TRUE(eventually([] { return g_done.load() == 3; }));
    EXPECT_EQ(ox_threadqueue_destroy(q), 0);
}

}  // namespace
