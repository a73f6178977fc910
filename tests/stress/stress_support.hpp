// Shared pieces of the stress program: the operation count (scaled down by
// CAIRN_STRESS_SCALE for sanitizer builds), running a body on N library
// threads, a watchdog that turns a hang into a failure, and the registry's
// live count before and after.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "concurrency/object_registry.hpp"
#include "concurrency/thread_testing.hpp"

namespace cairn::stress {
using cairn::testing::set_thread_start_pause;

constexpr int kThreads = 8;

// Operations per thread: 100,000 at scale 1.
inline int ops(int full = 100000)
{
    static const double scale = [] {
        const char *s = std::getenv("CAIRN_STRESS_SCALE");
        double v = s ? std::atof(s) : 1.0;
        return v > 0 ? v : 1.0;
    }();
    int n = static_cast<int>(full * scale);
    return n > 0 ? n : 1;
}

// Ends the process with a message when a test runs past its deadline, so a
// lost wake-up or a lock left held fails the run instead of hanging it.
class Watchdog {
public:
    explicit Watchdog(int seconds)
        : thread_([done = done_.get_future(), seconds] {
              if (done.wait_for(std::chrono::seconds(seconds)) == std::future_status::timeout) {
                  std::fprintf(stderr, "stress: %s hung for %d s\n",
                               ::testing::UnitTest::GetInstance()->current_test_info()->name(),
                               seconds);
                  std::fflush(stderr);
                  std::_Exit(3);
              }
          })
    {}
    ~Watchdog()
    {
        done_.set_value();
        thread_.join();
    }

private:
    std::promise<void> done_;
    std::thread thread_;
};

// Runs body(i) on `n` library threads at once (they start together) and
// returns when all have been joined; every join must report exit code 0.
inline void run_threads(int n, const std::function<void(int)> &body)
{
    struct Arg {
        const std::function<void(int)> *body;
        int index;
        std::atomic<int> *ready;
        int n;
    };
    std::atomic<int> ready{0};
    std::vector<Arg> args(n);
    std::vector<ox_thread *> threads(n);
    set_thread_start_pause(false);
    for (int i = 0; i < n; ++i) {
        args[i] = Arg{&body, i, &ready, n};
        threads[i] = ox_thread_new(
            [](void *p) -> uint32_t {
                auto *a = static_cast<Arg *>(p);
                a->ready->fetch_add(1);
                while (a->ready->load() < a->n)
                    std::this_thread::yield();
                (*a->body)(a->index);
                return 0;
            },
            &args[i]);
        ASSERT_NE(threads[i], nullptr);
        ASSERT_EQ(ox_thread_start(threads[i]), 0);
    }
    for (int i = 0; i < n; ++i) {
        uint32_t code = 99;
        EXPECT_EQ(ox_thread_join(threads[i], &code), 0);
        EXPECT_EQ(code, 0u);
        EXPECT_EQ(ox_thread_destroy(threads[i]), 0);
    }
    set_thread_start_pause(true);
}

// Items numbered 1..total that must each come out of a container exactly
// once: counts how often each came out, and anything that was never put in.
struct Ledger {
    long total;
    std::unique_ptr<std::atomic<uint8_t>[]> seen;
    std::atomic<long> popped{0};
    std::atomic<long> duplicates{0};
    std::atomic<long> bogus{0};

    explicit Ledger(long n) : total(n), seen(new std::atomic<uint8_t>[n + 1]()) {}
    void take(void *data)
    {
        long v = reinterpret_cast<long>(data);
        if (v < 1 || v > total) {
            ++bogus;
            return;
        }
        if (seen[v].fetch_add(1) != 0)
            ++duplicates;
        ++popped;
    }
    void expect_each_once() const
    {
        EXPECT_EQ(bogus.load(), 0);
        EXPECT_EQ(duplicates.load(), 0);
        EXPECT_EQ(popped.load(), total);
    }
};

// A cheap per-thread random number generator.
using Rng = std::minstd_rand;

}  // namespace cairn::stress
