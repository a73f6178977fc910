// Helpers for the concurrency tests: waiting for a condition with a
// generous bound (threads are ordered by step counters, never by sleeps),
// measuring elapsed time on the monotonic clock, reading a thread's state,
// and a gate that holds a thread function until released.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "cairn/concurrency.h"
#include "concurrency/thread_object.hpp"
#include "eventually.hpp"

namespace cairn::testing {

// Milliseconds that `fn` took.
inline double elapsed_ms(const std::function<void()> &fn)
{
    auto start = std::chrono::steady_clock::now();
    fn();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

// A thread object's state, read under its lock.
inline int32_t thread_state(ox_thread *t)
{
    CriticalSectionLock hold(*t->lock);
    return t->state;
}

// A thread function's gate: gated() counts its runs, waits for `release`
// and returns `code`.
struct Gate {
    ox_event *release = ox_event_new();
    std::atomic<int> runs{0};
    uint32_t code = 0;
    ~Gate() { ox_event_destroy(release); }
};

inline uint32_t gated(void *param)
{
    auto *gate = static_cast<Gate *>(param);
    gate->runs.fetch_add(1);
    ox_event_wait(gate->release);
    return gate->code;
}

// Bounds of a time-out check: never early; late by a generous margin.
constexpr double kLateMarginMs = 5000.0;

}  // namespace cairn::testing
