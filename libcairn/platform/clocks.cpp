#include "platform/clocks.hpp"

#include <atomic>
#include <ctime>

#include "platform/futex.hpp"

namespace cairn {

// CLOCK_MONOTONIC in nanoseconds: it never steps with the wall clock and is
// read without entering the kernel (vDSO).
int64_t perf_counter() { return static_cast<int64_t>(monotonic_ns()); }

int64_t perf_frequency() { return 1000000000LL; }

int64_t system_time_filetime()
{
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 10000000LL + ts.tv_nsec / 100 + kFiletimeEpochOffset;
}

namespace {
std::atomic<int32_t> g_seconds_offset{0};
std::atomic<int64_t> g_frozen_seconds{-1};  // -1: the clock runs
}  // namespace

int32_t clock_seconds32()
{
    int64_t frozen = g_frozen_seconds.load(std::memory_order_relaxed);
    auto now = static_cast<uint32_t>(frozen >= 0 ? frozen : std::time(nullptr));
    return static_cast<int32_t>(
        now + static_cast<uint32_t>(g_seconds_offset.load(std::memory_order_relaxed)));
}

}  // namespace cairn

namespace cairn::testing {

void clock_seconds32_offset(int32_t seconds) { g_seconds_offset.store(seconds); }

void clock_seconds32_freeze(bool frozen)
{
    g_frozen_seconds.store(frozen ? std::time(nullptr) : -1);
}

}  // namespace cairn::testing
