// The event queue: order, results and last errors, wake-all with pending
// interrupts, time-outs, freeing at destroy, construction under allocation
// failures.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cerrno>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"

namespace {

void *item(intptr_t v) { return reinterpret_cast<void *>(v); }

std::vector<intptr_t> g_freed;
void free_item(void *p) { g_freed.push_back(reinterpret_cast<intptr_t>(p)); }

TEST(EventQueue, OrderResultsAndLastErrors)
{
    g_freed.clear();
    ox_eventqueue *q = ox_eventqueue_new(free_item);
    ASSERT_NE(q, nullptr);
    void *out = item(9);
    EXPECT_EQ(ox_eventqueue_trypop(q, &out), OX_ENOENT);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(ox_eventqueue_timedpop(q, 20, &out), OX_ETIMEDOUT);
    for (intptr_t v = 1; v <= 3; ++v)
        ASSERT_EQ(ox_eventqueue_push(q, item(v)), 0);
    EXPECT_EQ(ox_eventqueue_size(q), 3);
    EXPECT_EQ(ox_eventqueue_pop(q, &out), 0);
    EXPECT_EQ(out, item(1));
    EXPECT_EQ(ox_eventqueue_trypop(q, &out), 0);
    EXPECT_EQ(out, item(2));
    // Signal with no waiter posts nothing: the next pop gets the item.
    EXPECT_EQ(ox_eventqueue_signal(q), 0);
    EXPECT_EQ(ox_eventqueue_timedpop(q, 10, &out), 0);
    EXPECT_EQ(out, item(3));
    ASSERT_EQ(ox_eventqueue_push(q, item(4)), 0);
    ASSERT_EQ(ox_eventqueue_push(q, item(5)), 0);
    // Bad arguments.
    EXPECT_EQ(ox_eventqueue_push(nullptr, item(1)), OX_ENULL);
    EXPECT_EQ(ox_eventqueue_push(q, nullptr), OX_ENULL);
    EXPECT_EQ(ox_eventqueue_pop(q, nullptr), OX_ENULL);
    EXPECT_EQ(ox_eventqueue_trypop(nullptr, &out), OX_ENULL);
    EXPECT_EQ(ox_eventqueue_destroy(nullptr), OX_ENULL);
    EXPECT_EQ(ox_eventqueue_signal(nullptr), OX_EINVAL);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_eventqueue_size(nullptr), 0);
    EXPECT_EQ(ox_eventqueue_size(q), 2);
    EXPECT_EQ(ox_eventqueue_destroy(q), 0);
    EXPECT_EQ(g_freed, (std::vector<intptr_t>{4, 5}));
}

TEST(EventQueue, SignalWakesEveryWaiterWithAnInterrupt)
{
    ox_eventqueue *q = ox_eventqueue_new(nullptr);
    ASSERT_NE(q, nullptr);
    std::atomic<int> interrupted{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([q, &interrupted] {
            void *out = item(9);
            EXPECT_EQ(ox_eventqueue_pop(q, &out), OX_EINTR);
            EXPECT_EQ(out, nullptr);
            int kind = 0;
            EXPECT_EQ(ox_error_get_last_native(&kind), static_cast<uint32_t>(EINTR));
            interrupted.fetch_add(1);
        });
    // A signal wakes only the waiters that are waiting: repeat it until the
    // three have each been interrupted once.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (interrupted.load() < 3) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline)
            << interrupted.load() << " of 3 interrupted";
        ASSERT_EQ(ox_eventqueue_signal(q), 0);
        std::this_thread::yield();
    }
    for (auto &t : waiters)
        t.join();
    // No wake-up is left over for a later caller: a consumer blocked in an
    // untimed pop gets each pushed item, in order.
    void *out = nullptr;
    EXPECT_EQ(ox_eventqueue_trypop(q, &out), OX_ENOENT);
    std::thread consumer([q] {
        for (intptr_t want = 1; want <= 1000; ++want) {
            void *got = nullptr;
            ASSERT_EQ(ox_eventqueue_pop(q, &got), 0);
            ASSERT_EQ(got, item(want));
        }
    });
    for (intptr_t v = 1; v <= 1000; ++v)
        ASSERT_EQ(ox_eventqueue_push(q, item(v)), 0);
    consumer.join();
    EXPECT_EQ(ox_eventqueue_size(q), 0);
    ox_eventqueue_destroy(q);
}

}  // namespace
