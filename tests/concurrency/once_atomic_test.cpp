// Once-guards under contention, and the atomic integer handle.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"

namespace {

std::atomic<int> g_runs{0};
std::atomic<bool> g_finished{false};

void slow_init()
{
    ++g_runs;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    g_finished = true;
}

void count_init() { ++g_runs; }

TEST(Once, ExactlyOneRunEveryoneWaitsForItAndAResetRunsItAgain)
{
    static ox_once_t once;  // zero-filled static: no set-up
    g_runs = 0;
    g_finished = false;
    constexpr int kThreads = 8;
    std::atomic<int> ready{0};
    std::atomic<int> returned_early{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&] {
            ++ready;
            while (ready.load() < kThreads) {
            }
            EXPECT_EQ(ox_once(&once, slow_init), 0);
            if (!g_finished.load())
                ++returned_early;
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(g_runs.load(), 1);
    EXPECT_EQ(returned_early.load(), 0);
    EXPECT_EQ(ox_once(&once, count_init), 0);
    EXPECT_EQ(g_runs.load(), 1);
    // A reset runs the function again, once.
    ox_once_reset(&once);
    EXPECT_EQ(once.done, 0u);
    EXPECT_EQ(once.started, 0u);
    ox_once(&once, count_init);
    ox_once(&once, count_init);
    EXPECT_EQ(g_runs.load(), 2);

    errno = 0;
    EXPECT_EQ(ox_once(nullptr, count_init), OX_ENULL);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ox_once(&once, nullptr), OX_ENULL);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    ox_once_reset(nullptr);  // ignored
}

TEST(Atomic, OperationsReferencesAndNullHandles)
{
    ox_atomic *a = ox_atomic_new(5);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(ox_atomic_compare_exchange(a, 7, 5), 1);
    EXPECT_EQ(ox_atomic_get(a), 7);
    EXPECT_EQ(ox_atomic_exchange(a, 6), 7);
    EXPECT_EQ(ox_atomic_compare_exchange(a, 7, 5), 0);
    EXPECT_EQ(ox_atomic_get(a), 6);
    EXPECT_EQ(ox_atomic_increment(a), 7);
    EXPECT_EQ(ox_atomic_decrement(a), 6);
    EXPECT_EQ(ox_atomic_exchange_add(a, -10), 6);
    EXPECT_EQ(ox_atomic_get(a), -4);
    ox_atomic_exchange(a, INT32_MAX);
    EXPECT_EQ(ox_atomic_increment(a), INT32_MIN);  // wraps, no trap
    // Destroy drops one reference at a time.
    ASSERT_EQ(ox_object_reference(a), 0);
    EXPECT_EQ(ox_atomic_destroy(a), 0);
    EXPECT_EQ(ox_atomic_increment(a), INT32_MIN + 1);  // still usable
    EXPECT_EQ(ox_atomic_destroy(a), 0);                // frees it
    // The public unreference path reaches the same destructor.
    ox_atomic *b = ox_atomic_new(0);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(ox_object_unreference(b), 0);

    errno = 0;
    EXPECT_EQ(ox_atomic_destroy(nullptr), OX_ENULL);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ox_atomic_increment(nullptr), 0);
    EXPECT_EQ(ox_atomic_compare_exchange(nullptr, 1, 0), 0);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);

    // Contended counts are exact.
    a = ox_atomic_new(0);
    ASSERT_NE(a, nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([a, t] {
            for (int i = 0; i < 100000; ++i) {
                if (t % 2)
                    ox_atomic_increment(a);
                else
                    ox_atomic_exchange_add(a, 2);
            }
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(ox_atomic_get(a), 2 * 100000 + 2 * 2 * 100000);
    ox_atomic_destroy(a);
}

}  // namespace
