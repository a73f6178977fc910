// Timing of system lookups against LogDnsThreshold.
#pragma once

#include <netdb.h>

#include <ctime>

namespace cairn::net {

// Start of a timed lookup: 0 when the threshold is off (nothing is timed).
time_t slow_lookup_start();
void slow_forward_report(time_t start, int result, const char *host, const char *service,
                         const addrinfo *hints);
void slow_reverse_report(time_t start, int result, const sockaddr *addr, int flags);

}  // namespace cairn::net
