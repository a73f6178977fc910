// Addresses given to a socket of the other family: an IPv4 address for an
// IPv6 socket becomes its mapped form; the IPv6 loopback and wildcard for
// an IPv4 socket become 127.0.0.1 and 0.0.0.0; any other IPv6 address for
// an IPv4 socket gets length 0, so that the system call refuses it.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

namespace cairn {

struct AdaptedAddress {
    sockaddr_storage storage;  // holds the address when it was rewritten
    const sockaddr *addr;      // what to pass to the system
    socklen_t len;
};

// Adapt `addr` to socket `s`.  An address of the socket's own family, or
// of another family than the two Internet ones, passes unchanged with
// `len` (0: its family's length).
void adapt_address(int s, const sockaddr *addr, socklen_t len, AdaptedAddress &out);

// fe80::/10.
bool is_link_local_ipv6(const sockaddr *addr);

}  // namespace cairn
