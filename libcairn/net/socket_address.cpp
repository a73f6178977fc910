#include "net/socket_address.hpp"

#include <cstring>

#include "cairn/net.h"
#include "net/address.hpp"

namespace cairn {
namespace {

socklen_t family_length(const sockaddr *addr, socklen_t given)
{
    if (given != 0)
        return given;
    return addr->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
}

void map_ipv4(const sockaddr_in &v4, AdaptedAddress &out)
{
    auto &v6 = reinterpret_cast<sockaddr_in6 &>(out.storage);
    v6.sin6_family = AF_INET6;
    v6.sin6_port = v4.sin_port;
    v6.sin6_addr.s6_addr[10] = 0xFF;
    v6.sin6_addr.s6_addr[11] = 0xFF;
    memcpy(&v6.sin6_addr.s6_addr[12], &v4.sin_addr, 4);
    out.len = sizeof(sockaddr_in6);
}

void narrow_ipv6(const sockaddr_in6 &v6, AdaptedAddress &out)
{
    auto &v4 = reinterpret_cast<sockaddr_in &>(out.storage);
    v4.sin_family = AF_INET;
    v4.sin_port = v6.sin6_port;
    out.len = sizeof(sockaddr_in);
    const auto *given = reinterpret_cast<const sockaddr *>(&v6);
    if (ox_inet_isloopback(given))
        v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    else if (ox_inet_isanyaddr(given))
        v4.sin_addr.s_addr = htonl(INADDR_ANY);
    else
        out.len = 0;
}

}  // namespace

void adapt_address(int s, const sockaddr *addr, socklen_t len, AdaptedAddress &out)
{
    out.addr = addr;
    out.len = family_length(addr, len);
    bool inet = addr->sa_family == AF_INET || addr->sa_family == AF_INET6;
    int socket_family = ox_getsockfamily(s);
    // A stated length too short for the family is left for the system to
    // refuse: nothing is read beyond what the caller gave.
    // An IPv4 address for a socket of unknown family passes unchanged too:
    // there is no IPv6 address to narrow.
    if (!inet || addr->sa_family == socket_family || out.len < family_length(addr, 0) ||
        (addr->sa_family == AF_INET && socket_family != AF_INET6))
        return;
    memset(&out.storage, 0, sizeof out.storage);
    out.addr = reinterpret_cast<const sockaddr *>(&out.storage);
    if (socket_family == AF_INET6)
        map_ipv4(*reinterpret_cast<const sockaddr_in *>(addr), out);
    else
        narrow_ipv6(*reinterpret_cast<const sockaddr_in6 *>(addr), out);
}

bool is_link_local_ipv6(const sockaddr *addr)
{
    return addr->sa_family == AF_INET6 && net::is_link_local(net::v6(addr)->sin6_addr);
}

}  // namespace cairn
