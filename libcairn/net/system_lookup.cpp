// The resolver's calls into the system, with the simulation hook and the
// slow-lookup timing.
#include "net/system_lookup.hpp"

#include <arpa/inet.h>

#include <cstring>

#include "cairn/containers.h"
#include "cairn/net.h"
#include "cairn/text.h"
#include "diagnostics/debug_line.hpp"
#include "net/addrinfo_chain.hpp"
#include "net/address.hpp"
#include "net/resolver_key.hpp"
#include "net/resolver_state.hpp"
#include "net/sim_rules.hpp"
#include "net/slow_lookup.hpp"

namespace cairn::net {

namespace {

constexpr int kTraceLevel = 5;
constexpr uint32_t kTraceBit = 16;

// Loopback answers without asking the system (EAI_OVERFLOW in *result
// when the name does not fit).
bool loopback_answer(const sockaddr *addr, char *host, std::size_t hostlen, char *service,
                     int flags, int *result)
{
    if (!ox_inet_isloopback(addr) || !(flags & (NI_NOFQDN | NI_NAMEREQD)))
        return false;
    bool mapped = family_of(addr) == AF_INET6 && is_mapped(v6(addr)->sin6_addr);
    const char *name = family_of(addr) == AF_INET || mapped ? "localhost" : "localhost6";
    *result = 0;
    if (host != nullptr && hostlen > 0 && !copy_answer(host, hostlen, name))
        *result = EAI_OVERFLOW;
    if (service != nullptr)
        service[0] = '\0';
    return true;
}

// False (and `out` empty) for another family or a buffer too small.
bool numeric_text(const sockaddr *addr, char *out, std::size_t size)
{
    out[0] = '\0';
    const char *done = nullptr;
    if (family_of(addr) == AF_INET)
        done = inet_ntop(AF_INET, &v4(addr)->sin_addr, out, static_cast<socklen_t>(size));
    else if (family_of(addr) == AF_INET6)
        done = inet_ntop(AF_INET6, &v6(addr)->sin6_addr, out, static_cast<socklen_t>(size));
    if (done == nullptr)
        out[0] = '\0';
    return done != nullptr;
}

struct FallbackSearch {
    const sockaddr *addr;
    bool want_name;
    char *host;
    std::size_t hostlen;
    bool found;
};

void fallback_visit(void *data, void *arg)
{
    auto *s = static_cast<FallbackSearch *>(arg);
    const addrinfo *chain = static_cast<const ForwardEntry *>(data)->chain;
    if (s->found || is_negative(chain))
        return;
    for (const addrinfo *n = chain; n; n = n->ai_next) {
        if (n->ai_addr == nullptr || ox_inet_addrcmp(n->ai_addr, s->addr) != 0)
            continue;
        if (s->want_name && n->ai_canonname == nullptr)
            continue;
        if (s->want_name)
            s->found = copy_answer(s->host, s->hostlen, n->ai_canonname);
        else
            s->found = numeric_text(s->addr, s->host, s->hostlen);
        return;
    }
    return;
}

// A cached forward answer holding the address stands in for a failed
// system reverse lookup.
bool forward_fallback(const sockaddr *addr, char *host, std::size_t hostlen, int flags)
{
    const ResolverCaches *c = resolver_if_made();
    if (c == nullptr || c->forward == nullptr || host == nullptr || hostlen == 0)
        return false;
    FallbackSearch s{addr, (flags & (NI_NOFQDN | NI_NAMEREQD)) != 0, host, hostlen, false};
    ox_table_foreach(c->forward, fallback_visit, &s);
    return s.found;
}

}  // namespace

int system_forward(const char *host, const char *service, const addrinfo *hints, addrinfo **res)
{
    *res = nullptr;
    int result = 0;
    if (sim_forward(host, &result))
        return result;
    time_t start = slow_lookup_start();
    result = getaddrinfo(host, service, hints, res);
    slow_forward_report(start, result, host, service, hints);
    CAIRN_DEBUG(kTraceLevel, kTraceBit, "ox_inet_getaddrinfo(): system lookup of '%s' gave %d\n",
                host ? host : "null", result);
    return result;
}

int reverse_core(const sockaddr *addr, socklen_t len, char *host, std::size_t hostlen,
                 char *service, std::size_t servlen, int flags)
{
    int result = 0;
    if (sim_rules_count() > 0 && !(flags & NI_NUMERICHOST) && !ox_inet_isloopback(addr) &&
        !ox_inet_isanyaddr(addr)) {
        char numeric[INET6_ADDRSTRLEN];
        numeric_text(addr, numeric, sizeof numeric);
        if (sim_reverse(numeric, flags, host, hostlen, &result)) {
            if (service != nullptr && servlen > 0)
                service[0] = '\0';
            return result;
        }
    }
    if (loopback_answer(addr, host, hostlen, service, flags, &result))
        return result;
    time_t start = slow_lookup_start();
    result = getnameinfo(addr, len, host, static_cast<socklen_t>(hostlen), service,
                         static_cast<socklen_t>(servlen), flags);
    slow_reverse_report(start, result, addr, flags);
    // A buffer too small for the system's answer is the caller's to fix:
    // no cached name stands in for it.
    if (result != 0 && result != EAI_BADFLAGS && result != EAI_OVERFLOW &&
        forward_fallback(addr, host, hostlen, flags)) {
        if (service != nullptr && servlen > 0)
            service[0] = '\0';
        result = 0;
    }
    CAIRN_DEBUG(kTraceLevel, kTraceBit, "ox_inet_getnameinfo(): system lookup gave %d\n", result);
    return result;
}

}  // namespace cairn::net
