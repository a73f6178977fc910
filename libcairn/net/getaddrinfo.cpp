// ox_getaddrinfo(): the forward lookup through the cache, the wildcard
// shortcuts, numeric hosts named through a reverse lookup, and lookups of
// one name in flight shared between threads.
#include <arpa/inet.h>

#include <cstring>

#include "cairn/frame.h"
#include "cairn/messages.h"
#include "cairn/net.h"
#include "cairn/text.h"
#include "diagnostics/debug_line.hpp"
#include "net/addrinfo_chain.hpp"
#include "net/address.hpp"
#include "net/inflight.hpp"
#include "net/resolver_state.hpp"
#include "net/system_lookup.hpp"
#include "platform/alloc.hpp"
#include "platform/thread_record.hpp"

using namespace cairn::net;

namespace {

int fail(int eai)
{
    ox_error_set_last(static_cast<uint32_t>(eai), OX_ERRKIND_RESOLVER);
    return eai;
}

ox_table *forward_cache() { return cache_on() ? resolver().forward : nullptr; }

// A cached answer: true with *result set (and *out on success).
bool cache_read(KeyRecord &key, addrinfo **out, int *result)
{
    ox_table *t = forward_cache();
    if (t == nullptr || key.host[0] == '\0')
        return false;
    void *copy = nullptr;
    int rc = ox_table_get(t, &key, &copy);
    if (rc == OX_ENOMEM) {
        *result = fail(EAI_MEMORY);
        return true;
    }
    if (rc != 0)
        return false;
    if (is_negative(copy)) {
        *result = fail(EAI_NONAME);
        return true;
    }
    *out = static_cast<addrinfo *>(copy);
    *result = 0;
    return true;
}

// "0.0.0.0" and "::" are answered at once and never cached.
addrinfo *wildcard_answer(const char *host)
{
    sockaddr_storage ss{};
    auto *sa = reinterpret_cast<sockaddr *>(&ss);
    addrinfo fields{};
    fields.ai_flags = AI_CANONNAME;
    fields.ai_socktype = SOCK_STREAM;
    fields.ai_protocol = IPPROTO_TCP;
    if (ox_straicmp(host, "0.0.0.0") == 0) {
        fields.ai_family = AF_INET;
        fields.ai_addrlen = sizeof(sockaddr_in);
    } else if (ox_straicmp(host, "::") == 0) {
        fields.ai_family = AF_INET6;
        fields.ai_addrlen = sizeof(sockaddr_in6);
    } else {
        return nullptr;
    }
    sa->sa_family = static_cast<sa_family_t>(fields.ai_family);
    return node_new(fields, sa, host);
}

// A numeric host is named by a reverse lookup first; the name found is
// looked up instead of the text.
const char *name_of_numeric(const char *host, const addrinfo *hints, char *name, std::size_t size)
{
    if (hints != nullptr && (hints->ai_flags & AI_NUMERICHOST))
        return host;
    sockaddr_storage ss{};
    auto *sa = reinterpret_cast<sockaddr *>(&ss);
    socklen_t len = 0;
    if (std::strchr(host, ':') != nullptr) {
        if (inet_pton(AF_INET6, host, &v6(sa)->sin6_addr) != 1)
            return host;
        sa->sa_family = AF_INET6;
        len = sizeof(sockaddr_in6);
    } else {
        in_addr_t a = inet_addr(host);
        if (a == INADDR_NONE && std::strcmp(host, "255.255.255.255") != 0)
            return host;
        sa->sa_family = AF_INET;
        v4(sa)->sin_addr.s_addr = a;
        len = sizeof(sockaddr_in);
    }
    return reverse_core(sa, len, name, size, nullptr, 0, NI_NAMEREQD) == 0 ? name : host;
}

bool is_loopback_node(const addrinfo *n)
{
    return n->ai_family == AF_INET6 && n->ai_addr != nullptr && ox_inet_isloopback(n->ai_addr);
}

// The adjustments of a fresh answer, made on the library's copy.
addrinfo *adjust(addrinfo *chain, const char *host, const char *service, const addrinfo *hints)
{
    bool drop_v6_loopback = host && ox_straicmp(host, "localhost") == 0 && !resolver().ipv6;
    for (addrinfo **p = &chain; *p;) {
        addrinfo *n = *p;
        if (drop_v6_loopback && is_loopback_node(n)) {
            *p = n->ai_next;
            n->ai_next = nullptr;
            chain_free(n);
            continue;
        }
        if (service == nullptr && n->ai_addr && ox_inet_isafinet(n->ai_addr))
            ox_inet_setport(n->ai_addr, 0);
        if (hints && hints->ai_socktype != 0 && n->ai_socktype == 0)
            n->ai_socktype = hints->ai_socktype;
        p = &n->ai_next;
    }
    if (host && ox_straicmp(host, "localhost") == 0) {
        CAIRN_DEBUG(4, 8, "Attempting to resolve 'localhost'.\n");
        if (resolver().ipv6)
            CAIRN_DEBUG(4, 8, "This Quillmark environment is configured for IPV6.\n");
    }
    return chain;
}

bool fill_canonical_name(addrinfo *chain, const char *host, const addrinfo *hints)
{
    if (chain == nullptr || host == nullptr || hints == nullptr ||
        !(hints->ai_flags & AI_CANONNAME) || chain->ai_canonname != nullptr)
        return true;
    chain->ai_canonname = cairn::mem_strdup(host);
    return chain->ai_canonname != nullptr;
}

void remember(const KeyRecord &key, addrinfo *chain, int32_t ttl)
{
    ox_table *t = forward_cache();
    ForwardEntry *e = t ? forward_entry_new(key, chain) : nullptr;
    if (e == nullptr)
        chain_free(chain);
    else if (ox_table_add_with_ttl(t, &e->key, e, ttl, 0) != 0)
        forward_entry_free(e);
}

// The system's answer, adjusted, remembered and copied for the caller.
int resolve(const KeyRecord &key, const char *host, const char *service, const addrinfo *hints,
            addrinfo **out)
{
    char name[kHostField];
    const char *lookup = host ? name_of_numeric(host, hints, name, sizeof name) : nullptr;
    addrinfo *sys = nullptr;
    int rc = system_forward(lookup, service, hints, &sys);
    if (rc != 0) {
        if (rc == EAI_NONAME)
            remember(key, &g_negative_marker, g_settings.negative_ttl.load());
        return fail(rc);
    }
    addrinfo *whole = chain_copy(sys);
    bool copied = sys == nullptr || whole != nullptr;
    addrinfo *chain = adjust(whole, lookup, service, hints);
    freeaddrinfo(sys);
    // Out of memory is reported as such: the notice is for a chain that the
    // adjustments emptied, and printing it could need memory itself.
    if (!copied)
        return fail(EAI_MEMORY);
    if (sys != nullptr && chain == nullptr)
        msg_print(0, 55000, MSG_TO_STDERR,
                  "Ensure that host '%s' is resolvable in the IPV6 enabled environment.\n",
                  MSG_ARG_TEXT, host);
    addrinfo *copy = fill_canonical_name(chain, host, hints) ? chain_copy(chain) : nullptr;
    if (copy == nullptr) {
        chain_free(chain);
        return fail(EAI_MEMORY);
    }
    remember(key, chain, g_settings.positive_ttl.load());
    *out = copy;
    return 0;
}

// The first asker of a missing key resolves it for everyone asking now.
int resolve_shared(KeyRecord &key, const char *host, const char *service, const addrinfo *hints,
                   addrinfo **out)
{
    for (;;) {
        bool owner = false;
        Inflight *rec = key.host[0] ? inflight_join(key, &owner) : nullptr;
        if (rec == nullptr)
            return resolve(key, host, service, hints, out);
        int rc = 0;
        if (!owner) {
            if (!inflight_wait(rec, &rc, out))
                continue;  // the resolving thread ended first: ask again
            return rc == 0 ? 0 : fail(rc);
        }
        {
            cairn::UnwindOnEnd undo(inflight_abandon, rec);
            if (!cache_read(key, out, &rc))  // answered just before we joined?
                rc = resolve(key, host, service, hints, out);
        }
        inflight_finish(rec, rc, *out);
        return rc;
    }
}

}  // namespace

extern "C" int ox_getaddrinfo(const char *host, const char *service, const addrinfo *hints,
                              addrinfo **result)
{
    resolver();
    if (result == nullptr)
        return fail(EAI_BADFLAGS);
    *result = nullptr;
    if (host != nullptr && host[0] == '\0')
        host = "localhost";
    CAIRN_DEBUG(5, 16, "ox_inet_getaddrinfo(): ENTER host '%s' service '%s'\n",
                host ? host : "null", service ? service : "null");
    KeyRecord key;
    forward_key(key, host, service, hints);
    int rc = 0;
    if (cache_read(key, result, &rc))
        return rc;
    if (host != nullptr && (*result = wildcard_answer(host)) != nullptr)
        return 0;
    return resolve_shared(key, host, service, hints, result);
}
