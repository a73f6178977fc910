// Copies of addrinfo chains made with the library's allocator.
#include "net/addrinfo_chain.hpp"

#include <cstring>

#include "cairn/net.h"
#include "platform/alloc.hpp"

namespace cairn::net {

addrinfo g_negative_marker{};

addrinfo *node_new(const addrinfo &fields, const sockaddr *addr, const char *canon)
{
    auto *n = static_cast<addrinfo *>(mem_alloc(sizeof(addrinfo)));
    if (n == nullptr)
        return nullptr;
    *n = fields;
    n->ai_next = nullptr;
    n->ai_addr = nullptr;
    n->ai_canonname = nullptr;
    if (addr != nullptr && fields.ai_addrlen > 0) {
        n->ai_addr = static_cast<sockaddr *>(mem_alloc(fields.ai_addrlen));
        if (n->ai_addr == nullptr) {
            chain_free(n);
            return nullptr;
        }
        std::memcpy(n->ai_addr, addr, fields.ai_addrlen);
    } else {
        n->ai_addrlen = 0;
    }
    if (canon != nullptr && (n->ai_canonname = mem_strdup(canon)) == nullptr) {
        chain_free(n);
        return nullptr;
    }
    return n;
}

addrinfo *chain_copy(const addrinfo *src)
{
    if (is_negative(src))
        return const_cast<addrinfo *>(src);
    addrinfo *head = nullptr, **tail = &head;
    for (; src != nullptr; src = src->ai_next) {
        addrinfo *n = node_new(*src, src->ai_addr, src->ai_canonname);
        if (n == nullptr) {
            chain_free(head);
            return nullptr;
        }
        *tail = n;
        tail = &n->ai_next;
    }
    return head;
}

void chain_free(addrinfo *chain)
{
    if (is_negative(chain))
        return;
    while (chain != nullptr) {
        addrinfo *next = chain->ai_next;
        mem_free(chain->ai_addr);
        mem_free(chain->ai_canonname);
        mem_free(chain);
        chain = next;
    }
}

}  // namespace cairn::net

extern "C" void ox_freeaddrinfo(struct addrinfo *chain) { cairn::net::chain_free(chain); }
