// Test seam of the thread pool: how long an idle worker waits before it
// considers retiring (60000 ms normally).
#pragma once

#include <cstdint>

namespace cairn::testing {

void threadqueue_idle_ms(uint32_t ms);

}  // namespace cairn::testing
