// The library's clocks.
#pragma once

#include <cstdint>

namespace cairn {

// Seconds since the epoch on the 32-bit clock used for expiry times.
int32_t clock_seconds32();

}  // namespace cairn

namespace cairn::testing {

// Shift the 32-bit seconds clock by `seconds` (tests of expiry without
// sleeping).  0 restores the real clock.
void clock_seconds32_offset(int32_t seconds);

}  // namespace cairn::testing
