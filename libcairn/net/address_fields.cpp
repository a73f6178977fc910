// Reading and writing the fields of Internet socket addresses.
#include <cerrno>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/net.h"
#include "cairn/text.h"
#include "net/address.hpp"

namespace cairn::net {

int fail_errno(int err)
{
    ox_error_set_last(static_cast<uint32_t>(err), OX_ERRKIND_ERRNO);
    return -1;
}

void set_resolver_error(int eai)
{
    int code = ox_error_set_last(static_cast<uint32_t>(eai), OX_ERRKIND_RESOLVER);
    errno = ox_error_to_errno(code);
}

}  // namespace cairn::net

using namespace cairn::net;

namespace {

// AF_INET or AF_INET6 kept; anything else becomes the host's natural family.
int settle_family(sockaddr *addr)
{
    int f = family_of(addr);
    if (f != AF_INET && f != AF_INET6) {
        f = ipv6_enabled() ? AF_INET6 : AF_INET;
        sa_family_t sf = static_cast<sa_family_t>(f);
        std::memcpy(&addr->sa_family, &sf, sizeof sf);
    }
    return f;
}

// Write the IPv4 (host order) or IPv6 address of the settled family.
void set_host_address(sockaddr *addr, in_addr_t ip4, const in6_addr &ip6)
{
    if (addr == nullptr)
        return;
    if (settle_family(addr) == AF_INET)
        v4(addr)->sin_addr.s_addr = htonl(ip4);
    else
        v6(addr)->sin6_addr = ip6;
}

}  // namespace

extern "C" {

int ox_inet_getaf(const char *text)
{
    if (text == nullptr)
        return 0;
    if (std::strchr(text, ':'))
        return AF_INET6;
    return std::strchr(text, '.') ? AF_INET : 0;
}

int ox_inet_getlen(const sockaddr *addr)
{
    int f = addr ? family_of(addr) : 0;
    if (f == AF_INET6)
        return sizeof(sockaddr_in6);
    if (f != AF_INET)
        fail_errno(EINVAL);
    return sizeof(sockaddr_in);
}

int ox_inet_isafinet(const sockaddr *addr)
{
    int f = addr ? family_of(addr) : 0;
    return f == AF_INET || f == AF_INET6;
}

uint16_t ox_inet_getport(const sockaddr *addr)
{
    int f = addr ? family_of(addr) : 0;
    if (f == AF_INET)
        return v4(addr)->sin_port;
    if (f == AF_INET6)
        return v6(addr)->sin6_port;
    fail_errno(EINVAL);
    return 0;
}

int ox_inet_setport(sockaddr *addr, uint16_t port)
{
    int f = addr ? family_of(addr) : 0;
    if (f == AF_INET)
        v4(addr)->sin_port = port;
    else if (f == AF_INET6)
        v6(addr)->sin6_port = port;
    else
        return fail_errno(EINVAL);
    return 0;
}

int ox_inet_getaddr(const sockaddr *addr, void *buf, int len)
{
    int f = addr ? family_of(addr) : 0;
    if ((f != AF_INET && f != AF_INET6) || buf == nullptr || len < 0)
        return fail_errno(EINVAL);
    std::size_t want = f == AF_INET ? 4 : 16;
    std::size_t n = static_cast<std::size_t>(len) < want ? static_cast<std::size_t>(len) : want;
    if (f == AF_INET)
        std::memcpy(buf, &v4(addr)->sin_addr, n);
    else
        std::memcpy(buf, &v6(addr)->sin6_addr, n);
    return 0;
}

void ox_inet_setanyaddr(sockaddr *addr) { set_host_address(addr, INADDR_ANY, in6addr_any); }

void ox_inet_setloopback(sockaddr *addr)
{
    set_host_address(addr, INADDR_LOOPBACK, in6addr_loopback);
}

int ox_inet_setunixaddr(sockaddr *, const char *) { return fail_errno(ENOSYS); }

int ox_inet_isanyaddr(const sockaddr *addr)
{
    int f = addr ? family_of(addr) : 0;
    if (f == AF_INET)
        return v4(addr)->sin_addr.s_addr == 0;
    if (f == AF_INET6)
        return IN6_IS_ADDR_UNSPECIFIED(&v6(addr)->sin6_addr);
    return 0;
}

int ox_inet_isloopback(const sockaddr *addr)
{
    int f = addr ? family_of(addr) : 0;
    if (f == AF_INET)
        return (ntohl(v4(addr)->sin_addr.s_addr) >> 24) == 127;
    if (f != AF_INET6)
        return 0;
    const in6_addr &a = v6(addr)->sin6_addr;
    if (IN6_IS_ADDR_LOOPBACK(&a))
        return 1;
    return is_mapped(a) && a.s6_addr[12] == 127;
}

int ox_inet_isloopback_name(const char *name)
{
    static const char *const kNames[] = {"localhost",
                                         "localhost6",
                                         "loopback",
                                         "localhost.localdomain",
                                         "localhost6.localdomain6",
                                         "ip6-localhost",
                                         "ip6-loopback"};
    if (name == nullptr)
        return 0;
    for (const char *known : kNames)
        if (ox_straicmp(name, known) == 0)
            return 1;
    return 0;
}

}  // extern "C"
