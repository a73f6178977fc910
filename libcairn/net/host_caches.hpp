// The host-identity caches ("level II") above the resolver cache: the host
// list (names and their canonical names, positive and negative) and the
// client lists (active and inactive clients).  The operator controls empty
// and print them; the host-identity functions fill them.
#pragma once

#include <string>
#include <vector>

#include "cairn/concurrency.h"

namespace cairn::net {

constexpr unsigned long kDefaultHostCacheSize = 131072;
constexpr unsigned long kDefaultClientCacheSize = 1048576;

// The mutex under which the host-identity functions and the operator
// controls use these caches (made on first use).
ox_mutex *host_cache_mutex();

// Remember `name` with its canonical name (nullptr: the name does not
// resolve), with the positive or negative time to live.  0, or the
// table's result; 28 (ENOSPC's code) when the list is full.
int host_cache_add(const char *name, const char *canonical);
// Remember a client; `inactive` puts it in the retired/decommissioned list.
int client_cache_add(const char *name, int inactive);

// Each list's size limit, read once from the environment.
unsigned long host_cache_limit();
unsigned long client_cache_limit();

// Empty the host list and the client lists (the caller holds the mutex).
void host_caches_flush();
// One text per entry: the host list, the active and the inactive clients.
std::vector<std::string> host_cache_lines();
std::vector<std::string> client_cache_lines(bool inactive);

}  // namespace cairn::net
