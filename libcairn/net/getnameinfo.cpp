// ox_getnameinfo(): the reverse lookup through the cache, with the
// link-local shortcut and mapped IPv4 addresses looked up as IPv4.
#include <cstdio>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/net.h"
#include "cairn/text.h"
#include "diagnostics/debug_line.hpp"
#include "net/address.hpp"
#include "net/resolver_key.hpp"
#include "net/resolver_state.hpp"
#include "net/system_lookup.hpp"
#include "platform/alloc.hpp"

using namespace cairn::net;

namespace {

int fail(int eai)
{
    ox_error_set_last(static_cast<uint32_t>(eai), OX_ERRKIND_RESOLVER);
    return eai;
}

ox_table *reverse_cache() { return cache_on() ? resolver().reverse : nullptr; }

bool cache_read(KeyRecord &key, char *host, socklen_t hostlen, char *service, socklen_t servlen,
                int *result)
{
    ox_table *t = reverse_cache();
    void *copy = nullptr;
    if (t == nullptr || ox_table_get(t, &key, &copy) != 0)
        return false;
    auto *rec = static_cast<KeyRecord *>(copy);
    if (rec->host[0] == '\0' && rec->service[0] == '\0') {
        *result = fail(EAI_NONAME);
    } else {
        bool fits = true;
        if (host != nullptr && hostlen > 0 && rec->host[0] != '\0')
            fits = copy_answer(host, hostlen, rec->host);
        if (fits && service != nullptr && servlen > 0 && rec->service[0] != '\0')
            fits = copy_answer(service, servlen, rec->service);
        *result = fits ? 0 : fail(EAI_OVERFLOW);
    }
    key_free(rec);
    return true;
}

// fe80::/10 is answered from the address itself: the prefix and the last
// four groups (the middle ones are dropped).
bool link_local_answer(const sockaddr *addr, char *host, socklen_t hostlen, int flags, int *result)
{
    if (host == nullptr || family_of(addr) != AF_INET6 || !is_link_local(v6(addr)->sin6_addr))
        return false;
    if (flags & NI_NAMEREQD) {
        *result = fail(EAI_NONAME);
        return true;
    }
    const uint8_t *b = v6(addr)->sin6_addr.s6_addr;
    auto group = [b](int i) { return static_cast<unsigned>((b[2 * i] << 8) | b[2 * i + 1]); };
    char text[INET6_ADDRSTRLEN];
    std::snprintf(text, sizeof text, "fe80::%x:%x:%x:%x", group(4), group(5), group(6), group(7));
    *result = copy_answer(host, hostlen, text) ? 0 : fail(EAI_OVERFLOW);
    return true;
}

void remember(const KeyRecord &key, const char *host, const char *service, int result)
{
    ox_table *t = reverse_cache();
    KeyRecord *rec = t ? key_dup(key) : nullptr;
    if (rec == nullptr)
        return;
    if (host != nullptr)
        ox_strlcpy(rec->host, host, sizeof rec->host);
    if (service != nullptr)
        ox_strlcpy(rec->service, service, sizeof rec->service);
    int32_t ttl = result == 0 ? g_settings.positive_ttl.load() : g_settings.negative_ttl.load();
    if (ox_table_add_with_ttl(t, rec, rec, ttl, 0) != 0)
        key_free(rec);
}

}  // namespace

extern "C" int ox_getnameinfo(const sockaddr *addr, socklen_t addrlen, char *host,
                              socklen_t hostlen, char *service, socklen_t servlen, int flags)
{
    resolver();
    if (host != nullptr && hostlen > 0)
        host[0] = '\0';
    if (addr == nullptr)
        return fail(EAI_FAMILY);
    CAIRN_DEBUG(5, 16, "ox_inet_getnameinfo(): ENTER flags 0x%04x\n", flags);
    KeyRecord key;
    reverse_key(key, addr, addrlen, flags);
    int rc = 0;
    if (cache_read(key, host, hostlen, service, servlen, &rc))
        return rc;
    if (link_local_answer(addr, host, hostlen, flags, &rc))
        return rc;
    sockaddr_in embedded{};
    if (host != nullptr && family_of(addr) == AF_INET6 && is_mapped(v6(addr)->sin6_addr)) {
        embedded.sin_family = AF_INET;
        embedded.sin_port = v6(addr)->sin6_port;
        std::memcpy(&embedded.sin_addr, v6(addr)->sin6_addr.s6_addr + 12, 4);
        addr = reinterpret_cast<const sockaddr *>(&embedded);
        addrlen = sizeof embedded;
    }
    rc = reverse_core(addr, addrlen, host, host ? hostlen : 0, service, service ? servlen : 0,
                      flags);
    if (rc == 0 || rc == EAI_NONAME)
        remember(key, rc == 0 ? host : nullptr, rc == 0 ? service : nullptr, rc);
    return rc == 0 ? 0 : fail(rc);
}
