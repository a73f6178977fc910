// The local time zone as the C library's zone data describes it: keeping
// that data current, the offset in effect at a moment, local fields read as
// standard time, and the daylight shift of a converted time.
#pragma once

#include <ctime>

namespace cairn {

// Makes the C library's zone data current (tzset()) when it may have
// changed: when TZ reads differently from this thread's last call (the text
// is compared here), and, while TZ is unset, at most once a second per
// thread, since re-checking the system's zone file costs a system call.
// localtime_r() reads the data without checking it again.
void refresh_zone_data();

// Offset and daylight state of the local zone at one moment.
struct ZoneAt {
    long east_seconds = 0;  // local time minus UTC, daylight time included
    bool daylight = false;  // daylight time in effect at that moment
};

// The local zone at `when` (call refresh_zone_data() first).  A moment the
// C library cannot break down reads as UTC without daylight time.
ZoneAt zone_at(std::time_t when);

// Local `fields` read as standard time (mktime() with tm_isdst 0; call
// refresh_zone_data() first):
// `wall_as_utc` is fields_as_utc(fields).  On success stores the time and
// its broken-down local form (daylight time included where it applies) and
// returns true; false when the C library cannot convert the fields.
bool standard_local_to_utc(const std::tm &fields, long long wall_as_utc, std::time_t &value,
                           std::tm &converted);

// mktime() under the environment lock (it reads TZ through tzset()).
std::time_t mktime_locked(std::tm *fields);

// The daylight shift in seconds of `converted`, the broken-down form of
// `standard_value` that standard_local_to_utc() produced from fields whose
// value read as UTC is `wall_as_utc`.  The shift is the zone's offset at the
// converted moment minus its standard offset (3600 in most zones, 1800 in
// some); 0 when the converted time is not daylight time.
long daylight_shift(const std::tm &converted, std::time_t standard_value, long long wall_as_utc);

// Seconds since the epoch of broken-down fields taken as UTC, without the
// C library's range limits; fields out of range are normalised as mktime()
// does.  No overflow for any int field values.
long long fields_as_utc(const std::tm &fields);

}  // namespace cairn
