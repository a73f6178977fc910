// The two clocks the time functions read: a high-resolution monotonic
// counter with its frequency, and the wall clock in the 100-nanosecond units
// since 1601 that the library's time-of-day arithmetic is written in.
#pragma once

#include <cstdint>

namespace cairn {

// Ticks of the monotonic counter; 0 when it cannot be read.
int64_t perf_counter();

// Ticks per second of perf_counter(); fixed for the life of the process.
int64_t perf_frequency();

// 100-nanosecond intervals between 1601-01-01 and 1970-01-01 UTC.
constexpr int64_t kFiletimeEpochOffset = 116444736000000000LL;

// The wall clock as 100-nanosecond intervals since 1601-01-01 UTC.
int64_t system_time_filetime();

// Seconds since the epoch on the 32-bit clock: the low half of the C
// library's time (expiry times, the library's current time).
int32_t clock_seconds32();

}  // namespace cairn

namespace cairn::testing {

// Shift the 32-bit seconds clock by `seconds` (tests of expiry without
// sleeping).  0 restores the real clock.
void clock_seconds32_offset(int32_t seconds);

// Stop the 32-bit seconds clock at the current second (offsets still
// apply), so that a test cannot straddle a second boundary; false lets it
// run again.
void clock_seconds32_freeze(bool frozen);

}  // namespace cairn::testing
