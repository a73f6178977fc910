// The local time zone as the C library's zone data describes it: the offset
// in effect at a given moment and the daylight shift of a broken-down time.
#pragma once

#include <ctime>

namespace cairn {

// Offset and daylight state of the local zone at one moment.
struct ZoneAt {
    long east_seconds = 0;  // local time minus UTC, daylight time included
    bool daylight = false;  // daylight time in effect at that moment
};

// Re-read TZ (tzset) and describe the local zone at `when`.  A moment the C
// library cannot break down reads as UTC without daylight time.
ZoneAt zone_at(std::time_t when);

// The daylight shift in seconds of a broken-down local time that mktime()
// produced from fields read as standard time (tm_isdst 0): `standard_value`
// is mktime's result, `wall_as_utc` the same fields read as UTC.  The shift
// is the zone's offset at the converted moment minus its standard offset
// (3600 in most zones, 1800 in some); 0 when the time is not daylight time.
long daylight_shift(const std::tm &converted, std::time_t standard_value, long long wall_as_utc);

// Seconds since the epoch of broken-down fields taken as UTC, without the
// C library's range limits; fields out of range are normalised as mktime()
// does.  No overflow for any int field values.
long long fields_as_utc(const std::tm &fields);

}  // namespace cairn
