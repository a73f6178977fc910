#include "platform/time_zone.hpp"

namespace cairn {

ZoneAt zone_at(std::time_t when)
{
    // localtime_r() does not look at TZ again by itself; tzset() makes a
    // change of TZ during the process visible here.
    tzset();
    std::tm local{};
    ZoneAt zone;
    if (localtime_r(&when, &local) != nullptr) {
        zone.east_seconds = local.tm_gmtoff;
        zone.daylight = local.tm_isdst > 0;
    }
    return zone;
}

long daylight_shift(const std::tm &converted, std::time_t standard_value, long long wall_as_utc)
{
    if (converted.tm_isdst <= 0)
        return 0;
    // mktime() read the wall time as standard time, so the distance between
    // the wall time taken as UTC and its result is the standard offset.
    long long standard_east = wall_as_utc - static_cast<long long>(standard_value);
    return static_cast<long>(converted.tm_gmtoff - standard_east);
}

namespace {

long long floor_div(long long a, long long b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

// Days from 1970-01-01 to the first of the month in the proleptic Gregorian
// calendar (month 1..12).
long long days_from_civil(long long year, long long month)
{
    year -= month <= 2;
    long long era = floor_div(year, 400);
    long long yoe = year - era * 400;
    long long mp = (month + 9) % 12;
    long long doy = (153 * mp + 2) / 5;
    long long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

}  // namespace

long long fields_as_utc(const std::tm &f)
{
    long long month0 = f.tm_mon;
    long long year = 1900LL + f.tm_year + floor_div(month0, 12);
    month0 -= floor_div(month0, 12) * 12;
    long long days = days_from_civil(year, month0 + 1) + f.tm_mday - 1;
    return days * 86400 + f.tm_hour * 3600LL + f.tm_min * 60LL + f.tm_sec;
}

}  // namespace cairn
