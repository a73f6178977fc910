// Keys of the forward and reverse caches.  A forward key with an empty
// host never equals anything: lookups without a host are stored but never
// found again.
#include "net/resolver_key.hpp"

#include <cstring>

#include "cairn/containers.h"
#include "cairn/net.h"
#include "cairn/text.h"
#include "net/addrinfo_chain.hpp"
#include "net/address.hpp"
#include "platform/alloc.hpp"

namespace cairn::net {

namespace {

void copy_text(char *dst, std::size_t size, const char *src)
{
    if (src != nullptr)
        ox_strlcpy(dst, src, size);
}

const KeyRecord &rec(void *p) { return *static_cast<const KeyRecord *>(p); }

// djb2 continued over more bytes, as ox_hash_string() of the joined text.
uint32_t djb2_more(uint32_t h, const char *s)
{
    for (; *s; ++s)
        h = h * 33 + static_cast<unsigned char>(*s);
    return h;
}

}  // namespace

// Only what equality and hashing read is written: the texts (terminated)
// and the four integers of the hints.  Lookups build a key on every call,
// so the record's 1.3 KB are not cleared; stored keys are (below).
void forward_key(KeyRecord &key, const char *host, const char *service, const addrinfo *hints)
{
    key.host[0] = key.service[0] = '\0';
    copy_text(key.host, sizeof key.host, host);
    copy_text(key.service, sizeof key.service, service);
    key.hints.ai_flags = hints ? hints->ai_flags : 0;
    key.hints.ai_family = hints ? hints->ai_family : 0;
    key.hints.ai_socktype = hints ? hints->ai_socktype : 0;
    key.hints.ai_protocol = hints ? hints->ai_protocol : 0;
    key.addr.ss_family = AF_UNSPEC;
    key.ni_flags = 0;
}

void reverse_key(KeyRecord &key, const sockaddr *addr, socklen_t len, int flags)
{
    std::memset(&key, 0, sizeof key);  // stored as it is
    if (addr != nullptr)
        std::memcpy(&key.addr, addr, len < sizeof key.addr ? len : sizeof key.addr);
    key.ni_flags = flags;
}

KeyRecord *key_dup(const KeyRecord &key)
{
    auto *copy = static_cast<KeyRecord *>(mem_alloc(sizeof(KeyRecord)));
    if (copy != nullptr)
        std::memcpy(copy, &key, sizeof key);
    return copy;
}

// The host and service are joined without a separator (both fields are
// bounded, so the joined text always fits the 1,057 characters).
uint32_t forward_hash(void *key)
{
    const KeyRecord &k = rec(key);
    return djb2_more(djb2_more(5381, k.host), k.service);
}

int forward_equal(void *a, void *b)
{
    const KeyRecord &x = rec(a), &y = rec(b);
    if (x.hints.ai_flags != y.hints.ai_flags || x.hints.ai_family != y.hints.ai_family ||
        x.hints.ai_socktype != y.hints.ai_socktype || x.hints.ai_protocol != y.hints.ai_protocol)
        return 1;
    if (x.host[0] == '\0' || y.host[0] == '\0' || ox_straicmp(x.host, y.host) != 0)
        return 1;
    if ((x.service[0] == '\0') != (y.service[0] == '\0'))
        return 1;
    return ox_straicmp(x.service, y.service) != 0;
}

uint32_t reverse_hash(void *key)
{
    const sockaddr *a = reinterpret_cast<const sockaddr *>(&rec(key).addr);
    if (family_of(a) == AF_INET)
        return ntohl(v4(a)->sin_addr.s_addr);
    if (family_of(a) == AF_INET6)
        return group_host(v6(a)->sin6_addr, 3);
    return 0;
}

int reverse_equal(void *a, void *b)
{
    const KeyRecord &x = rec(a), &y = rec(b);
    if (x.ni_flags != y.ni_flags)
        return 1;
    return ox_inet_addrcmp(reinterpret_cast<const sockaddr *>(&x.addr),
                           reinterpret_cast<const sockaddr *>(&y.addr)) != 0;
}

void key_free(void *key) { mem_free(key); }

ForwardEntry *forward_entry_new(const KeyRecord &key, addrinfo *chain)
{
    auto *e = static_cast<ForwardEntry *>(mem_calloc(1, sizeof(ForwardEntry)));
    if (e != nullptr) {
        forward_key(e->key, key.host, key.service, &key.hints);
        e->chain = chain;
    }
    return e;
}

void forward_entry_free(void *entry)
{
    auto *e = static_cast<ForwardEntry *>(entry);
    chain_free(e->chain);
    mem_free(e);
}

void *forward_entry_copy(void *entry)
{
    return chain_copy(static_cast<ForwardEntry *>(entry)->chain);
}

void *reverse_copy(void *record) { return key_dup(rec(record)); }

}  // namespace cairn::net
