// Time values: the current time, the forever and indefinite encodings, and
// the conversions between 64-bit times, 32-bit times and 32-bit offsets.
#include <cstdint>
#include <ctime>

#include "cairn/time.h"
#include "platform/clocks.hpp"
#include "time/time_internal.hpp"

namespace cairn {

ox_time64_t clock_time_now()
{
    // The 32-bit clock, sign-extended.
    auto now = static_cast<ox_time64_t>(clock_seconds32());
    return now == OX_TIME_FOREVER32 ? OX_TIME_NOT_FOREVER32 : now;
}

}  // namespace cairn

namespace {

ox_time64_t normalise_forever(ox_time64_t t)
{
    return t == OX_TIME_FOREVER32 ? OX_TIME_FOREVER : t;
}

}  // namespace

extern "C" {

ox_time64_t ox_time(ox_time64_t *t)
{
    ox_time64_t now = cairn::clock_time_now();
    if (t != nullptr)
        *t = now;
    return now;
}

int ox_is_forever_time(ox_time64_t t) { return t == OX_TIME_FOREVER32 || t == OX_TIME_FOREVER; }

int ox_time_cmp(ox_time64_t a, ox_time64_t b)
{
    a = normalise_forever(a);
    b = normalise_forever(b);
    return a < b ? -1 : (a > b ? 1 : 0);
}

ox_time32_t ox_time64_to_32(ox_time64_t t)
{
    int32_t high = static_cast<int32_t>(t >> 32);
    if (high > 0)
        return 0x7FFFFFFF;
    if (high < 0)
        return -1;
    uint32_t low = static_cast<uint32_t>(t);
    return low > 0x7FFFFFFFu ? 0x7FFFFFFF : static_cast<ox_time32_t>(low);
}

ox_timeoffset_t ox_time64_to_offset(ox_time64_t t, ox_time64_t base)
{
    if (ox_is_forever_time(t))
        return OX_TIMEOFFSET_FOREVER;
    // Wrapping 32-bit subtraction, done unsigned so that it is defined.
    auto offset =
        static_cast<ox_timeoffset_t>(static_cast<uint32_t>(t) - static_cast<uint32_t>(base));
    return offset == OX_TIMEOFFSET_FOREVER ? OX_TIMEOFFSET_OVERFLOW : offset;
}

ox_time64_t ox_timeoffset_to_64(ox_timeoffset_t offset, ox_time64_t base)
{
    if (offset == OX_TIMEOFFSET_FOREVER || base == OX_TIME_FOREVER32)
        return OX_TIME_FOREVER;
    if (offset == OX_TIMEOFFSET_OVERFLOW || offset == OX_TIMEOFFSET_INDEFINITE ||
        base == OX_TIME_NOT_FOREVER32)
        return OX_TIME_INDEFINITE;
    // Unsigned so that a base near the top of the range wraps instead of
    // overflowing; callers never pass such bases with a real offset.
    auto sum =
        static_cast<ox_time64_t>(static_cast<uint64_t>(base) + static_cast<uint32_t>(offset));
    return sum == OX_TIME_FOREVER32 ? OX_TIME_NOT_FOREVER32 : sum;
}

int ox_is_forever_timeoffset(ox_timeoffset_t o) { return o == OX_TIMEOFFSET_FOREVER; }

int ox_is_new_indefinite_timeoffset(ox_timeoffset_t o) { return o == OX_TIMEOFFSET_INDEFINITE; }

ox_timeoffset_t ox_new_indefinite_timeoffset(void) { return OX_TIMEOFFSET_INDEFINITE; }

}  // extern "C"
