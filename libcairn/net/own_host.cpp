// The host's own name at socket start-up.  Resolution goes through the
// library's resolver entry points, so it shares the resolver's cache.
#include "net/own_host.hpp"

#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/net.h"
#include "net/address.hpp"
#include "platform/alloc.hpp"
#include "text/ascii_case.hpp"

namespace cairn {
namespace {

constexpr size_t kReverseNameSize = 1025;

[[noreturn]] void fail_start_up(const char *form, const char *name)
{
    char prog[256];
    ox_get_progname(prog, sizeof prog);
    if (name != nullptr)
        fprintf(stderr, form, prog, name, name, "hosts");
    else
        fprintf(stderr, form, prog, "hosts");
    ox_exit(1);
    _exit(1);  // when exit handling is disabled ox_exit() still ends; never here
}

void lower_copy(char *dst, size_t size, const char *src)
{
    size_t n = 0;
    for (; src[n] != '\0' && n + 1 < size; ++n)
        dst[n] = static_cast<char>(text::kFoldLower[static_cast<unsigned char>(src[n])]);
    dst[n] = '\0';
}

// Canonical name of `name` through the resolver; false when it fails.
bool canonical_name(const char *name, char *out, size_t size)
{
    addrinfo hints{};
    hints.ai_flags = AI_CANONNAME;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo *res = nullptr;
    if (ox_getaddrinfo(name, nullptr, &hints, &res) != 0)
        return false;
    lower_copy(out, size, res->ai_canonname != nullptr ? res->ai_canonname : name);
    ox_freeaddrinfo(res);
    return true;
}

bool is_ipv6_loopback(const sockaddr *addr)
{
    return addr != nullptr && addr->sa_family == AF_INET6 &&
           IN6_IS_ADDR_LOOPBACK(&net::v6(addr)->sin6_addr);
}

}  // namespace

void check_own_host_name(char *name, size_t size)
{
    char host[256] = "";
    if (gethostname(host, sizeof host - 1) != 0) {
        lower_copy(name, size, "localhost");
        return;
    }
    lower_copy(host, sizeof host, host);
    if (!canonical_name(host, name, size))
        fail_start_up("%s: Failed to resolve hostname %s to an internet address. Please verify a "
                      "mapping for %s exists in the %s file or DNS.\n",
                      host);
}

void check_ipv6_loopback_name(bool ipv6_loopback)
{
    if (!ipv6_loopback)
        return;
    int probe = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (probe < 0)
        return;
    sockaddr_in6 loopback{};
    loopback.sin6_family = AF_INET6;
    loopback.sin6_addr = in6addr_loopback;
    char found[kReverseNameSize] = "";
    int rc = ox_getnameinfo(reinterpret_cast<sockaddr *>(&loopback), sizeof loopback, found,
                            sizeof found, nullptr, 0, NI_NAMEREQD);
    close(probe);
    if (rc == 0 && strcmp(found, "::1") != 0)
        return;
    fail_start_up("%s: Failed to resolve the IPv6 localhost address ::1. Please verify an entry "
                  "for the IPv6 localhost address exists in your %s file.\n",
                  nullptr);
}

unsigned *take_interface_indexes(size_t *count, bool *ipv6_loopback)
{
    *count = 0;
    *ipv6_loopback = false;
    ox_ifaddress *list = nullptr;
    if (ox_get_ifaddresses(&list) != 0)
        return nullptr;
    size_t n = 0;
    for (ox_ifaddress *i = list; i != nullptr; i = i->next)
        ++n;
    auto *indexes = static_cast<unsigned *>(mem_alloc(n * sizeof(unsigned) + 1));
    for (ox_ifaddress *i = list; indexes != nullptr && i != nullptr; i = i->next) {
        indexes[(*count)++] = i->index;
        *ipv6_loopback = *ipv6_loopback || is_ipv6_loopback(i->addr);
    }
    ox_free_ifaddresses(list);
    return indexes;
}

}  // namespace cairn
