// One-time set-up and exit-time tear-down of the resolver's state.
#include "net/resolver_state.hpp"

#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

#include "cairn/concurrency.h"
#include "cairn/net.h"
#include "frame/exit_cleanup.hpp"
#include "net/addrinfo_chain.hpp"
#include "net/address.hpp"
#include "net/resolver_key.hpp"
#include "net/inflight.hpp"
#include "net/sim_rules.hpp"
#include "platform/alloc.hpp"

namespace cairn::net {

ResolverSettings g_settings;

namespace {

ox_once_t g_once = OX_ONCE_INIT;
ResolverCaches g_caches;
std::atomic<bool> g_made{false};

int same_address(void *a, void *b)
{
    return ox_inet_addrcmp(static_cast<const sockaddr *>(a), static_cast<const sockaddr *>(b));
}

// ::1 among the interfaces and an AF_INET6 stream socket can be made.
bool detect_ipv6()
{
    ox_ifaddress *list = nullptr;
    if (ox_get_ifaddresses(&list) != 0)
        return false;
    bool has_loopback = false;
    for (const ox_ifaddress *i = list; i && !has_loopback; i = i->next)
        has_loopback =
            family_of(i->addr) == AF_INET6 && IN6_IS_ADDR_LOOPBACK(&v6(i->addr)->sin6_addr);
    ox_free_ifaddresses(list);
    if (!has_loopback)
        return false;
    int fd = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    close(fd);
    return true;
}

void tear_down()
{
    g_made.store(false, std::memory_order_release);
    ox_list_destroy(g_caches.local_addresses);
    ox_table_destroy(g_caches.forward);
    ox_table_destroy(g_caches.reverse);
    g_caches = ResolverCaches{};
    sim_rules_unload();
    ox_once_reset(&g_once);
}

void make_state()
{
    std::memset(&g_negative_marker, 0, sizeof g_negative_marker);
    g_caches.local_addresses = ox_list_new(mem_free, nullptr, same_address, nullptr, 1);
    if (g_caches.local_addresses != nullptr)
        g_caches.forward = ox_table_new(forward_entry_free, forward_entry_copy, forward_equal,
                                        nullptr, forward_hash, kCacheBuckets, 1);
    if (g_caches.forward != nullptr)
        g_caches.reverse = ox_table_new(nullptr, reverse_copy, reverse_equal, key_free,
                                        reverse_hash, kCacheBuckets, 1);
    if (g_caches.reverse == nullptr) {
        raise(SIGTERM);
        return;
    }
    g_caches.ipv6 = detect_ipv6();
    sim_rules_load();
    inflight_protect();
    register_exit_cleanup(tear_down);
    g_made.store(true, std::memory_order_release);
}

}  // namespace

const ResolverCaches &resolver()
{
    if (!g_made.load(std::memory_order_acquire))
        ox_once(&g_once, make_state);
    return g_caches;
}

const ResolverCaches *resolver_if_made()
{
    return g_made.load(std::memory_order_acquire) ? &g_caches : nullptr;
}

bool ipv6_enabled() { return resolver().ipv6; }

}  // namespace cairn::net
