// Waiting for what another thread brings about, with a generous bound:
// tests order threads by step counters and wait-queue counts, never by
// sleeps, and fail at the deadline instead of hanging until the runner's
// time-out.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace cairn::testing {

// Polls `done` until it holds or `limit_ms` passed; true when it held.  It
// polls back to back for the first millisecond, then once a millisecond,
// so that a long wait does not keep a CPU busy.
inline bool eventually(const std::function<bool()> &done, int limit_ms = 20000)
{
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const auto end = start + std::chrono::milliseconds(limit_ms);
    while (!done()) {
        const auto now = Clock::now();
        if (now > end)
            return false;
        if (now - start < std::chrono::milliseconds(1))
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace cairn::testing
