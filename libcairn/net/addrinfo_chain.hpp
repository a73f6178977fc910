// The library's own addrinfo chains: every node, address and canonical
// name a separate allocation, so that callers free them with
// ox_freeaddrinfo() whatever the C library does inside its own chains.
#pragma once

#include <netdb.h>

namespace cairn::net {

// Stands in the forward cache for a name that does not resolve; never
// handed to a caller, ignored by the free routines.
extern addrinfo g_negative_marker;

inline bool is_negative(const void *chain) { return chain == &g_negative_marker; }

// A copy of `src` (nullptr when `src` is empty or an allocation failed; the
// allocator then set ENOMEM).  The negative marker copies as itself.
addrinfo *chain_copy(const addrinfo *src);

// Free a library chain; nullptr and the marker are ignored.
void chain_free(addrinfo *chain);

// One node with a copy of `addr` and `canon` (may be nullptr).
addrinfo *node_new(const addrinfo &fields, const sockaddr *addr, const char *canon);

}  // namespace cairn::net
