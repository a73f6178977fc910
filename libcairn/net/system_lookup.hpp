// The resolver's calls into the system: the simulation rules first, then
// the C library, timed for the slow-lookup warning.
#pragma once

#include <netdb.h>

#include <cstddef>

namespace cairn::net {

// getaddrinfo() of the system (or a simulation rule's answer).
int system_forward(const char *host, const char *service, const addrinfo *hints, addrinfo **res);

// The reverse lookup core: simulation rules, the loopback answers, the
// system's getnameinfo() and the forward-cache fallback.
int reverse_core(const sockaddr *addr, socklen_t len, char *host, std::size_t hostlen,
                 char *service, std::size_t servlen, int flags);

}  // namespace cairn::net
