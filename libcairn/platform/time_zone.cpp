#include "platform/time_zone.hpp"

#include <cstdlib>
#include <cstring>

#include "frame/environment.hpp"

namespace cairn {

namespace {

// Per thread: the zone data's generation as this thread last made it
// current, and what it was made current for.
constexpr std::size_t kTzTextMax = 256;
thread_local unsigned long t_generation;
thread_local bool t_tz_was_set;
thread_local char t_tz_text[kTzTextMax];
thread_local std::time_t t_last_refresh = -1;

// Whether TZ reads as it did at this thread's last refresh; remembers it.
bool same_tz_text(const char *tz)
{
    std::size_t n = std::strlen(tz);
    if (t_tz_was_set && n < kTzTextMax && std::memcmp(t_tz_text, tz, n + 1) == 0)
        return true;
    if (n < kTzTextMax)
        std::memcpy(t_tz_text, tz, n + 1);
    else
        t_tz_text[0] = '\0';  // too long to remember: refreshed every time
    return false;
}

}  // namespace

void refresh_zone_data()
{
    std::time_t now = std::time(nullptr);
    // TZ is read, and tzset() reads it again, under the environment lock:
    // ox_putenv() may move the environment meanwhile.
    CriticalSectionLock hold(environment_lock());
    const char *tz = std::getenv("TZ");
    bool stale = tz != nullptr ? !same_tz_text(tz) : (t_tz_was_set || now != t_last_refresh);
    if (stale) {
        tzset();
        t_last_refresh = now;
        ++t_generation;
    }
    t_tz_was_set = tz != nullptr;
}

ZoneAt zone_at(std::time_t when)
{
    // The same moment asked again with the same zone data (the present,
    // typically) is answered from the last call.
    thread_local unsigned long t_cached_generation = 0;
    thread_local std::time_t t_cached_when;
    thread_local ZoneAt t_cached;
    if (t_cached_generation == t_generation && t_generation != 0 && t_cached_when == when)
        return t_cached;
    std::tm local{};
    ZoneAt zone;
    if (localtime_r(&when, &local) != nullptr) {
        zone.east_seconds = local.tm_gmtoff;
        zone.daylight = local.tm_isdst > 0;
    }
    t_cached_generation = t_generation;
    t_cached_when = when;
    t_cached = zone;
    return zone;
}

bool standard_local_to_utc(const std::tm &fields, long long wall_as_utc, std::time_t &value,
                           std::tm &converted)
{
    // Outside daylight time the answer is the moment whose offset, added
    // to it, gives the wall time back; the offset this thread saw last is
    // the usual first guess.
    thread_local long t_last_offset = 0;
    long offset = t_last_offset;
    for (int round = 0; round < 2; ++round) {
        auto guess = static_cast<std::time_t>(wall_as_utc - offset);
        if (localtime_r(&guess, &converted) == nullptr)
            break;
        if (converted.tm_gmtoff == offset && converted.tm_isdst == 0) {
            t_last_offset = offset;
            value = guess;
            return true;
        }
        offset = converted.tm_gmtoff;
    }
    // Daylight time, a switch, or a date out of the C library's range:
    // mktime() decides.
    converted = fields;
    converted.tm_isdst = 0;
    converted.tm_wday = -1;  // mktime() sets it on success only
    value = mktime_locked(&converted);
    return !(value == static_cast<std::time_t>(-1) && converted.tm_wday == -1);
}

std::time_t mktime_locked(std::tm *fields)
{
    CriticalSectionLock hold(environment_lock());  // mktime() runs tzset(), which reads TZ
    return mktime(fields);
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

long long floor_div(long long a, long long b)
{
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}

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
