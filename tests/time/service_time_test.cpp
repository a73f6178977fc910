// The service time: frozen until reset, consistent under contention, and
// usable again after its exit-time clean-up.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "cairn/time.h"
#include "child_process.hpp"
#include "time/time_internal.hpp"

namespace {

using cairn::testing::run_in_child;

TEST(ServiceTime, StaysFrozenUntilReset)
{
    svc_time_reset();
    ox_time64_t first = svc_time();
    EXPECT_NE(first, 0);
    EXPECT_NE(first, OX_TIME_FOREVER32);
    // Wait until the clock has moved on: the service time must not.
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (ox_time(nullptr) == first && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_GT(ox_time(nullptr), first);
    EXPECT_EQ(svc_time(), first);
    svc_time_reset();
    ox_time64_t second = svc_time();
    EXPECT_GT(second, first);
    EXPECT_EQ(svc_time(), second);
}

TEST(ServiceTime, ThreadsSeeOneValueBetweenResets)
{
    svc_time_reset();
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    std::atomic<bool> bad{false};
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    const ox_time64_t start = ox_time(nullptr);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) {
            }
            for (int n = 0; n < kRounds; ++n) {
                if (i == 0 && n % 64 == 0)
                    svc_time_reset();
                ox_time64_t v = svc_time();
                if (v < start || v > ox_time(nullptr))
                    bad.store(true);
            }
        });
    }
    for (auto &t : threads)
        t.join();
    EXPECT_FALSE(bad.load());
    // Without resets, every thread reads the same value.
    ox_time64_t frozen = svc_time();
    std::atomic<int> mismatches{0};
    threads.clear();
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 1000; ++n)
                if (svc_time() != frozen)
                    mismatches.fetch_add(1);
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(ServiceTime, CleanupClearsAndLaterCallsStartAfresh)
{
    auto child = run_in_child([] {
        ox_time64_t first = svc_time();
        while (ox_time(nullptr) == first)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        cairn::service_time_exit_cleanup();
        cairn::service_time_exit_cleanup();  // a second run finds nothing to free
        ox_time64_t again = svc_time();
        std::printf("first=%lld again=%lld frozen=%d\n", static_cast<long long>(first),
                    static_cast<long long>(again), svc_time() == again);
    });
    ASSERT_TRUE(child.exited) << "signal "
                              << child.signal;  // the registered clean-up ran at exit too
    EXPECT_EQ(child.exit_code, 0);
    long long first = 0, again = 0;
    int frozen = 0;
    ASSERT_EQ(
        std::sscanf(child.out.c_str(), "first=%lld again=%lld frozen=%d", &first, &again, &frozen),
        3)
        << child.out;
    EXPECT_GT(first, 0);
    EXPECT_GT(again, first);
    EXPECT_EQ(frozen, 1);
}

}  // namespace
