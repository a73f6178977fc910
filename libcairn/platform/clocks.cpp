#include "platform/clocks.hpp"

#include <ctime>

namespace cairn {

// CLOCK_MONOTONIC in nanoseconds: it never steps with the wall clock and is
// read without entering the kernel (vDSO).
int64_t perf_counter()
{
    timespec ts{};
    if (clock_gettime(CLOCK_MONOTONIC, &ts) != 0)
        return 0;
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

int64_t perf_frequency() { return 1000000000LL; }

int64_t system_time_filetime()
{
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 10000000LL + ts.tv_nsec / 100 + kFiletimeEpochOffset;
}

}  // namespace cairn
