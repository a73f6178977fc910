// The socket calls that add nothing to the system call but the error rules,
// close-on-exec handles, dual-stack IPv6 and address adaptation.
#include <netdb.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "cairn/net.h"
#include "net/socket_address.hpp"
#include "net/socket_errors.hpp"
#include "net/socket_layer.hpp"

using namespace cairn;

namespace {

// Connect a link-local IPv6 address through each interface in turn: the
// address names no interface, so each one's index is tried as its scope.
int connect_link_local(int s, const sockaddr *addr)
{
    size_t count = 0;
    const unsigned *indexes = socket_interface_indexes(&count);
    sockaddr_in6 scoped;
    memcpy(&scoped, addr, sizeof scoped);
    int result = 0;
    for (size_t i = 0; i < count; ++i) {
        scoped.sin6_scope_id = indexes[i];
        result = socket_result(connect(s, reinterpret_cast<sockaddr *>(&scoped), sizeof scoped));
        if (result == 0)
            break;
    }
    return result;
}

}  // namespace

extern "C" {

CAIRN_API int ox_socket(int family, int type, int protocol)
{
    ensure_socket_layer();
    int s = socket_result(socket(family, type | SOCK_CLOEXEC, protocol));
    if (s >= 0 && family == AF_INET6) {
        int v6only = 0;
        setsockopt(s, IPPROTO_IPV6, IPV6_V6ONLY, &v6only, sizeof v6only);
    }
    return s;
}

CAIRN_API int ox_socket_unspec(int *family, int type, int protocol)
{
    int s = -1;
    int made = 0;
    for (int f : {AF_INET6, AF_INET}) {
        s = ox_socket(f, type, protocol);
        if (s >= 0) {
            made = f;
            break;
        }
    }
    if (family != nullptr)
        *family = made;
    return s;
}

CAIRN_API int ox_bind(int s, const struct sockaddr *addr)
{
    if (addr == nullptr) {
        record_einval();
        return -1;
    }
    AdaptedAddress a;
    adapt_address(s, addr, 0, a);
    return socket_result(bind(s, a.addr, a.len));
}

CAIRN_API int ox_connect(int s, const struct sockaddr *addr, socklen_t len)
{
    if (addr == nullptr) {
        record_einval();
        return -1;
    }
    if (len >= sizeof(sockaddr_in6) && is_link_local_ipv6(addr))
        return connect_link_local(s, addr);
    AdaptedAddress a;
    adapt_address(s, addr, len, a);
    return socket_result(connect(s, a.addr, a.len));
}

CAIRN_API int ox_listen(int s, int backlog) { return socket_result(listen(s, backlog)); }

CAIRN_API int ox_accept(int s, struct sockaddr *addr, socklen_t *len)
{
    // The stated length, but never more than any address the call returns.
    if (addr != nullptr && len != nullptr)
        memset(addr, 0, std::min<size_t>(*len, sizeof(sockaddr_storage)));
    return socket_result(accept4(s, addr, len, SOCK_CLOEXEC));
}

CAIRN_API int ox_shutdown(int s, int how) { return socket_result(shutdown(s, how)); }

CAIRN_API int ox_setsockopt(int s, int level, int name, const void *value, socklen_t len)
{
    return socket_result(setsockopt(s, level, name, value, len));
}

CAIRN_API int ox_getsockopt(int s, int level, int name, void *value, socklen_t *len)
{
    return socket_result(getsockopt(s, level, name, value, len));
}

CAIRN_API int ox_ioctlsocket(int s, unsigned long command, int *arg)
{
    return socket_result(ioctl(s, command, arg));
}

CAIRN_API int ox_getsockname(int s, struct sockaddr *addr, socklen_t *len)
{
    if (addr == nullptr || len == nullptr) {
        record_einval(false);
        return -1;
    }
    if (*len >= sizeof addr->sa_family)
        addr->sa_family = 0;
    return socket_result(getsockname(s, addr, len));
}

CAIRN_API int ox_getpeername(int s, struct sockaddr *addr, socklen_t *len)
{
    return socket_result(getpeername(s, addr, len));
}

CAIRN_API struct protoent *ox_getprotobyname(const char *name)
{
    return name != nullptr ? getprotobyname(name) : nullptr;
}

CAIRN_API int ox_getsockfamily(int s)
{
    int domain = 0;
    socklen_t len = sizeof domain;
    return getsockopt(s, SOL_SOCKET, SO_DOMAIN, &domain, &len) == 0 ? domain : 0;
}

}  // extern "C"
