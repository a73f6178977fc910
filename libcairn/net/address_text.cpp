// Numeric text forms of addresses, through the library's resolver entry
// points.
#include <arpa/inet.h>
#include <netdb.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "cairn/frame.h"
#include "cairn/net.h"
#include "cairn/text.h"
#include "diagnostics/debug_line.hpp"
#include "net/address.hpp"

using namespace cairn::net;

namespace {

// Both the system's parser and ox_inet_pton() accept the text as IPv6.
bool parses_as_ipv6(const char *text)
{
    in6_addr raw;
    sockaddr_storage ss{};
    return inet_pton(AF_INET6, text, &raw) == 1 &&
           ox_inet_pton(text, reinterpret_cast<sockaddr *>(&ss)) == 0;
}

// Cut `copy` at the last '_' if it has one, else at the last ':'.
char *last_cut(std::string &copy)
{
    std::size_t at = copy.rfind('_');
    if (at == std::string::npos)
        at = copy.rfind(':');
    return at == std::string::npos ? nullptr : &copy[at];
}

}  // namespace

extern "C" {

int ox_inet_pton(const char *text, sockaddr *addr)
{
    if (text == nullptr || addr == nullptr)
        return fail_errno(EINVAL);
    int family = ox_inet_getaf(text);
    if (family == 0) {
        ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
        return -1;
    }
    int saved = errno;
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_family = family;
    addrinfo *res = nullptr;
    int rc = ox_getaddrinfo(text, nullptr, &hints, &res);
    if (rc != 0) {
        set_resolver_error(rc);
        return -1;
    }
    std::memcpy(addr, res->ai_addr, res->ai_addrlen);
    ox_freeaddrinfo(res);
    errno = saved;
    return 0;
}

char *ox_inet_ntop(const sockaddr *addr, char *buf, int len)
{
    int saved = errno;
    if (addr == nullptr || !ox_inet_isafinet(addr)) {
        set_resolver_error(EAI_FAMILY);
        return nullptr;
    }
    if (buf == nullptr || len <= 0) {
        fail_errno(EINVAL);
        return nullptr;
    }
    int rc = ox_getnameinfo(addr, static_cast<socklen_t>(ox_inet_getlen(addr)), buf,
                            static_cast<socklen_t>(len), nullptr, 0, NI_NUMERICHOST);
    if (rc != 0) {
        set_resolver_error(rc);
        return nullptr;
    }
    errno = saved;
    if (strncasecmp(buf, "::ffff:", 7) == 0 && std::strchr(buf, '.') != nullptr) {
        char tmp[249];
        ox_strlcpy(tmp, buf + 7, sizeof tmp);
        ox_strlcpy(buf, tmp, static_cast<std::size_t>(len));
    }
    return buf;
}

char *ox_inet_addrtohex(const sockaddr *addr, char *buf, int len)
{
    if (addr == nullptr || buf == nullptr || len <= 0)
        return buf;
    std::size_t n = static_cast<std::size_t>(len);
    if (family_of(addr) == AF_INET) {
        std::snprintf(buf, n, "%.8x", ntohl(v4(addr)->sin_addr.s_addr));
    } else if (family_of(addr) == AF_INET6) {
        const in6_addr &a = v6(addr)->sin6_addr;
        std::snprintf(buf, n, "%x%x%x%x", group_host(a, 0), group_host(a, 1), group_host(a, 2),
                      group_host(a, 3));
    }
    return buf;
}

int ox_inet_isvalidaddr(const char *text)
{
    sockaddr_storage ss{};
    return ox_inet_pton(text, reinterpret_cast<sockaddr *>(&ss)) == 0;
}

int ox_inet_isvalidipv6addr(const char *text, int mode)
{
    in6_addr raw;
    sockaddr_storage ss{};
    auto *sa = reinterpret_cast<sockaddr *>(&ss);
    if (text == nullptr || inet_pton(AF_INET6, text, &raw) != 1 || ox_inet_pton(text, sa) != 0)
        return 0;
    if (mode == 0)
        return 1;
    if (mode != 1)
        return 0;
    char host[256];
    return ox_getnameinfo(sa, static_cast<socklen_t>(ox_inet_getlen(sa)), host, sizeof host,
                          nullptr, 0, NI_NAMEREQD) == 0;
}

int ox_inet_parseipv6addr(const char *text)
{
    if (text == nullptr)
        return 0;
    std::string copy = text;
    std::size_t last_colon = copy.rfind(':');
    if (last_colon != std::string::npos && last_colon + 1 < copy.size() &&
        copy[last_colon + 1] == '\\')
        copy.resize(last_colon);
    std::size_t first = copy.find(':');
    if (first == std::string::npos)
        return 0;
    char *cut = last_cut(copy);
    while (cut != nullptr && cut != &copy[first]) {
        if (cut < &copy[first])
            return 0;  // an '_' ahead of the first ':'
        copy.resize(static_cast<std::size_t>(cut - copy.data()));
        if (parses_as_ipv6(copy.c_str()))
            break;
        cut = last_cut(copy);
    }
    return parses_as_ipv6(copy.c_str()) ? static_cast<int>(copy.size()) : 0;
}

}  // extern "C"
