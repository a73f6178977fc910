#include "platform/clock.hpp"

#include <atomic>
#include <ctime>

namespace cairn {
namespace {
std::atomic<int32_t> g_offset{0};
}

int32_t clock_seconds32()
{
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME_COARSE, &ts);
    return static_cast<int32_t>(ts.tv_sec) + g_offset.load(std::memory_order_relaxed);
}

}  // namespace cairn

namespace cairn::testing {

void clock_seconds32_offset(int32_t seconds) { g_offset.store(seconds); }

}  // namespace cairn::testing
