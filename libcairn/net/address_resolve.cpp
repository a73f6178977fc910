// Address functions that resolve names, and the remembered local addresses.
#include <netdb.h>

#include <cerrno>
#include <cstring>

#include "cairn/containers.h"
#include "cairn/frame.h"
#include "cairn/net.h"
#include "cairn/text.h"
#include "net/address.hpp"
#include "net/resolver_state.hpp"
#include "platform/alloc.hpp"

using namespace cairn::net;

namespace {

// The lookup every resolving address function makes.
int resolve_host(const char *host, addrinfo **res)
{
    addrinfo hints{};
    hints.ai_flags = AI_CANONNAME;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    return ox_getaddrinfo(host, nullptr, &hints, res);
}

bool is_6to4(const addrinfo *n)
{
    return n->ai_family == AF_INET6 && n->ai_addr != nullptr &&
           v6(n->ai_addr)->sin6_addr.s6_addr[0] == 0x20 &&
           v6(n->ai_addr)->sin6_addr.s6_addr[1] == 0x02;
}

}  // namespace

extern "C" {

char *ox_inet_ptoh(const char *text, char *buf, int len)
{
    if (buf == nullptr || len <= 0)
        return buf;
    addrinfo *res = nullptr;
    const char *answer = text ? text : "";
    if (text != nullptr && resolve_host(text, &res) == 0 && res->ai_canonname != nullptr)
        answer = res->ai_canonname;
    ox_strlcpy(buf, answer, static_cast<std::size_t>(len));
    ox_freeaddrinfo(res);
    return buf;
}

char *ox_inet_htop(const char *host, char *buf, int len)
{
    if (buf == nullptr || len <= 0)
        return nullptr;
    buf[0] = '\0';
    addrinfo *res = nullptr;
    if (host == nullptr || resolve_host(host, &res) != 0) {
        errno = ox_error_to_errno(ox_error_get_last());
        ox_strlcpy(buf, host ? host : "", static_cast<std::size_t>(len));
        return nullptr;
    }
    for (const addrinfo *n = res; n != nullptr; n = n->ai_next)
        if (!is_6to4(n) && n->ai_addr != nullptr) {
            ox_inet_ntop(n->ai_addr, buf, len);
            break;
        }
    ox_freeaddrinfo(res);
    return buf;
}

int ox_inet_isvalidhost(const char *host)
{
    addrinfo *res = nullptr;
    if (host != nullptr && resolve_host(host, &res) == 0) {
        ox_freeaddrinfo(res);
        return 1;
    }
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    return 0;
}

int ox_inet_hostcmp(const char *a, const char *b)
{
    if (a == nullptr || b == nullptr)
        return -1;
    if (a == b || ox_straicmp(a, b) == 0)
        return 0;
    addrinfo *ra = nullptr, *rb = nullptr;
    int same = -1;
    if (resolve_host(a, &ra) == 0 && resolve_host(b, &rb) == 0 && ra->ai_canonname &&
        rb->ai_canonname)
        same = ox_straicmp(ra->ai_canonname, rb->ai_canonname) == 0 ? 0 : -1;
    ox_freeaddrinfo(ra);
    ox_freeaddrinfo(rb);
    return same;
}

int ox_inet_islocaladdr(const sockaddr *addr)
{
    if (addr == nullptr)
        return 0;
    ox_list *known = resolver().local_addresses;
    void *found = nullptr;
    if (known != nullptr && ox_list_find(known, const_cast<sockaddr *>(addr), &found) == 0)
        return 1;
    if (!ox_inet_isloopback(addr) && !ox_is_myaddress(addr))
        return 0;
    auto *copy = static_cast<sockaddr_storage *>(cairn::mem_calloc(1, sizeof(sockaddr_storage)));
    if (copy == nullptr || known == nullptr) {
        cairn::mem_free(copy);
        return 1;
    }
    std::memcpy(copy, addr, static_cast<std::size_t>(ox_inet_getlen(addr)));
    if (ox_list_append(known, copy, copy) != 0)
        cairn::mem_free(copy);
    return 1;
}

}  // extern "C"
