// The resolver's process-wide state: the caches, the local-address list,
// the IPv6-enabled flag and the settings.  Made once on first use; the exit
// handler tears it down and lets a later call make it again.
#pragma once

#include <atomic>
#include <cstdint>

#include "cairn/containers.h"

namespace cairn::net {

constexpr uint32_t kCacheBuckets = 491;
constexpr int32_t kDefaultTtl = 1800;

struct ResolverSettings {
    std::atomic<int32_t> enabled{1};
    std::atomic<int32_t> positive_ttl{kDefaultTtl};
    std::atomic<int32_t> negative_ttl{kDefaultTtl};
    std::atomic<int32_t> cache_nics{0};  // the host-identity interface list cache
};
extern ResolverSettings g_settings;

struct ResolverCaches {
    ox_list *local_addresses = nullptr;
    ox_table *forward = nullptr;
    ox_table *reverse = nullptr;
    bool ipv6 = false;
};

// The state, made on first use (a failure to make it raises SIGTERM).
const ResolverCaches &resolver();
// The state when it exists, else nullptr; makes nothing.
const ResolverCaches *resolver_if_made();

// The cache is on and made: the tables to use, else nullptr.
inline bool cache_on() { return g_settings.enabled.load(std::memory_order_relaxed) != 0; }

}  // namespace cairn::net
