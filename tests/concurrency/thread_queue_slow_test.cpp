// The thread pool's real idle time: workers above the minimum retire 60
// seconds after the work is done.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "cairn/concurrency.h"

namespace {

std::atomic<int> g_done{0};
std::atomic<bool> g_gate{false};

TEST(ThreadQueueSlow, ExtraWorkersRetireAfterSixtySecondsIdle)
{
    ox_threadqueue *q = ox_threadqueue_new(
        [](void *) {
            while (!g_gate.load())
                ox_thread_sleep(1);
            g_done.fetch_add(1);
        },
        nullptr, 2, 4, 0);
    ASSERT_NE(q, nullptr);
    for (intptr_t v = 1; v <= 10; ++v)
        ASSERT_EQ(ox_threadqueue_push(q, reinterpret_cast<void *>(v)), 0);
    EXPECT_EQ(ox_threadqueue_size(q), 4);
    g_gate = true;
    auto start = std::chrono::steady_clock::now();
    while (g_done.load() < 10) {
        ASSERT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30))
            << g_done.load() << " of 10 done";
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    // Still four well before the idle time has passed.
    std::this_thread::sleep_for(std::chrono::seconds(50));
    EXPECT_EQ(ox_threadqueue_size(q), 4);
    while (ox_threadqueue_size(q) > 2 &&
           std::chrono::steady_clock::now() - start < std::chrono::seconds(120))
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(ox_threadqueue_size(q), 2);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(59));
    EXPECT_EQ(ox_threadqueue_destroy(q), 0);
}

}  // namespace
