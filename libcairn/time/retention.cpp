// Retention times: whether one needs more than a 32-bit offset from now,
// and rounding up to the end of the local day.
#include <cstdint>
#include <ctime>

#include "cairn/time.h"
#include "platform/time_zone.hpp"
#include "time/time_internal.hpp"

namespace {

// t - now as an unsigned distance, meaningful when t > now.  Unsigned so
// that distances of any size are defined.
uint64_t distance_after(ox_time64_t t, ox_time64_t now)
{
    return static_cast<uint64_t>(t) - static_cast<uint64_t>(now);
}

}  // namespace

extern "C" {

int ox_is_ret_time_max(ox_time64_t t)
{
    if (t == 0 || t == OX_TIME_FOREVER)
        return 0;
    ox_time64_t now = cairn::clock_time_now();
    return t > now && distance_after(t, now) >= (uint64_t{1} << 32);
}

ox_time64_t ox_time_roundup(ox_time64_t t)
{
    // The forever encodings are markers, not dates: rounding them would turn
    // "never expires" into a real time.
    if (ox_is_forever_time(t))
        return t;
    auto when = static_cast<std::time_t>(t);
    std::tm local{};
    cairn::refresh_zone_data();
    if (localtime_r(&when, &local) == nullptr)
        return t;
    ox_time64_t rounded = t + 86399 - (local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec);
    return rounded == OX_TIME_FOREVER32 ? OX_TIME_NOT_FOREVER32 : rounded;
}

ox_time64_t ox_ret_time_roundup(ox_time64_t t)
{
    ox_time64_t now = cairn::clock_time_now();
    if (t <= now || distance_after(t, now) < 86400)
        return t;
    return ox_time_roundup(t);
}

}  // extern "C"
