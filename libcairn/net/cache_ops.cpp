// Operations on the resolver cache: flush, times to live, removal of one
// entry, the switches of ox_conf(), and the alias list of a host.
#include <netdb.h>

#include <cerrno>
#include <cstring>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "cairn/net.h"
#include "cairn/text.h"
#include "diagnostics/debug_line.hpp"
#include "net/resolver_key.hpp"
#include "net/resolver_state.hpp"

using namespace cairn::net;

namespace {

constexpr int kRemoveAttempts = 10;
constexpr uint32_t kRemoveRetryMs = 200;

// The tables when the cache is on and made; nothing is made here.
const ResolverCaches *live_caches() { return cache_on() ? resolver_if_made() : nullptr; }

// Retry a removal refused for a busy entry, 200 ms apart.
int remove_with_retry(ox_table *t, KeyRecord &key)
{
    int rc = 0;
    for (int attempt = 0; attempt < kRemoveAttempts; ++attempt) {
        void *data = nullptr;
        rc = ox_table_try_remove(t, &key, &data);
        if (rc == 0 || rc == OX_ENOENT)
            break;
        ox_thread_sleep(kRemoveRetryMs);
    }
    return rc;
}

int set_switch(std::atomic<int32_t> &setting, const int32_t *value, const char *form)
{
    if (value == nullptr || (*value != 0 && *value != 1)) {
        ox_error_set_last(static_cast<uint32_t>(value ? errno : EINVAL), OX_ERRKIND_ERRNO);
        return -1;
    }
    setting.store(*value);
    CAIRN_DEBUG(2, 2, form, *value ? "TRUE" : "FALSE");
    return 0;
}

}  // namespace

extern "C" {

int ox_inet_cache_flush(void)
{
    const ResolverCaches *c = resolver_if_made();
    if (c == nullptr)
        return 0;
    int a = ox_table_remove_all(c->forward), b = ox_table_remove_all(c->reverse);
    return a == 0 && b == 0 ? 0 : -1;
}

void ox_inet_cache_get_ttls(int32_t *positive, int32_t *negative)
{
    if (positive)
        *positive = g_settings.positive_ttl.load();
    if (negative)
        *negative = g_settings.negative_ttl.load();
}

void ox_inet_cache_set_ttls(int32_t positive, int32_t negative)
{
    if (positive >= 0)
        g_settings.positive_ttl.store(positive);
    if (negative >= 0)
        g_settings.negative_ttl.store(negative);
}

int ox_inet_addrinfo_cache_remove(const char *host, const char *service,
                                  const struct addrinfo *hints)
{
    const ResolverCaches *c = live_caches();
    if (c == nullptr)
        return 0;
    KeyRecord key;
    forward_key(key, host && host[0] ? host : (host ? "localhost" : nullptr), service, hints);
    return remove_with_retry(c->forward, key);
}

int ox_inet_nameinfo_cache_remove(const struct sockaddr *addr, socklen_t addrlen, int flags)
{
    const ResolverCaches *c = live_caches();
    if (c == nullptr || addr == nullptr)
        return 0;
    KeyRecord key;
    reverse_key(key, addr, addrlen, flags);
    return remove_with_retry(c->reverse, key);
}

int ox_conf(int option, const int32_t *value)
{
    if (option == OX_CONF_CACHE_NICS)
        return set_switch(g_settings.cache_nics, value, "Ox_ifaddrs_cache_nics is set to %s\n");
    if (option == OX_CONF_INET_CACHE)
        return set_switch(g_settings.enabled, value, "Ox_inet_cache_addrs is set to %s\n");
    return 0;
}

int ox_getaliasinfo(const char *host, char ***aliases)
{
    if (aliases == nullptr)
        return -1;
    *aliases = nullptr;
    hostent entry{}, *found = nullptr;
    char buf[8192];
    int herr = 0;
    if (host == nullptr || gethostbyname_r(host, &entry, buf, sizeof buf, &found, &herr) != 0 ||
        found == nullptr) {
        ox_error_set_last(static_cast<uint32_t>(EAI_NONAME), OX_ERRKIND_RESOLVER);
        return -1;
    }
    int n = 0;
    while (found->h_aliases && found->h_aliases[n])
        ++n;
    char **out = ox_strvalloc(n, 256);
    if (out == nullptr)
        return -1;
    for (int i = 0; i < n; ++i)
        ox_strlcpy(out[i], found->h_aliases[i], 256);
    *aliases = out;
    return n;
}

}  // extern "C"
