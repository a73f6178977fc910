// The start-up check that the host knows itself: its own name must resolve
// and, on an IPv6 host, ::1 must have a name.  Failures end the process
// with status 1 and a message on standard error.
#pragma once

#include <cstddef>

namespace cairn {

// Resolve the host's name and write its canonical form, lower case, into
// `name` (`size` bytes; "localhost" when the host's name cannot be read).
void check_own_host_name(char *name, size_t size);

// With `ipv6_loopback` (the interface list holds ::1) and an IPv6 stream
// socket available, ::1 must reverse-resolve to a name.
void check_ipv6_loopback_name(bool ipv6_loopback);

// The interface list as an array of interface indexes (mem_alloc'd, NULL
// when empty), and whether it holds ::1.
unsigned *take_interface_indexes(size_t *count, bool *ipv6_loopback);

}  // namespace cairn
