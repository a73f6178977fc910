// Internal helpers shared by the address functions and the resolver: typed
// views of the two Internet socket addresses and the error setters.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstring>

namespace cairn::net {

inline const sockaddr_in *v4(const sockaddr *a) { return reinterpret_cast<const sockaddr_in *>(a); }
inline const sockaddr_in6 *v6(const sockaddr *a)
{
    return reinterpret_cast<const sockaddr_in6 *>(a);
}
inline sockaddr_in *v4(sockaddr *a) { return reinterpret_cast<sockaddr_in *>(a); }
inline sockaddr_in6 *v6(sockaddr *a) { return reinterpret_cast<sockaddr_in6 *>(a); }

// The family field, read without assuming the buffer is aligned.
inline int family_of(const sockaddr *a)
{
    sa_family_t f;
    std::memcpy(&f, &a->sa_family, sizeof f);
    return f;
}

// ::ffff:a.b.c.d
inline bool is_mapped(const in6_addr &a)
{
    static const uint8_t kPrefix[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    return std::memcmp(a.s6_addr, kPrefix, sizeof kPrefix) == 0;
}

// fe80::/10
inline bool is_link_local(const in6_addr &a)
{
    return a.s6_addr[0] == 0xFE && (a.s6_addr[1] & 0xC0) == 0x80;
}

// The 32-bit group `i` of an IPv6 address in host byte order.
inline uint32_t group_host(const in6_addr &a, int i)
{
    uint32_t g;
    std::memcpy(&g, a.s6_addr + 4 * i, sizeof g);
    return ntohl(g);
}

// Last error of the errno kind (also sets errno); returns -1.
int fail_errno(int err);
// Last error of the name-resolution kind with errno set from it.
void set_resolver_error(int eai);

// Copy a resolver answer whole into a caller's buffer of `size` bytes: a
// text that does not fit is never cut (a cut address or name reads as a
// different one); the buffer is left empty and false returned, for the
// caller to answer EAI_OVERFLOW as the system resolver does.
inline bool copy_answer(char *dst, std::size_t size, const char *src)
{
    std::size_t n = std::strlen(src);
    if (n >= size) {
        if (size > 0)
            dst[0] = '\0';
        return false;
    }
    std::memcpy(dst, src, n + 1);
    return true;
}

// The IPv6-enabled flag of this host (runs the resolver's set-up).
bool ipv6_enabled();

}  // namespace cairn::net
