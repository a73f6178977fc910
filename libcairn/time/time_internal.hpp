// Internal seams of the time functions: the clock reading shared by every
// function that produces a time, and the ISO 8601 conversions with an
// explicit "present moment" so that tests can fix it.
#pragma once

#include <cstddef>
#include <ctime>

#include "cairn/time.h"

namespace cairn {

// The current time as ox_time() gives it.
ox_time64_t clock_time_now();

// Exit-time clean-up of the service time: destroys its lock, clears the
// value and resets the once-guard, so that a later call starts afresh.
void service_time_exit_cleanup();

// ox_str8601_time() with the zone of the moment `now` instead of the
// present one.
int format_8601_with_zone_at(char *buf, std::size_t size, ox_time64_t t, std::time_t now);

// ox_8601ptime() with the zone of the moment `now` instead of the present
// one.
ox_time64_t parse_8601_at(const char *text, std::time_t now);

}  // namespace cairn
