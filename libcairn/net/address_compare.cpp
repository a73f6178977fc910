// Equality, masked ordering and masks of Internet addresses.
#include <cerrno>
#include <cstring>

#include "cairn/net.h"
#include "net/address.hpp"

using namespace cairn::net;

namespace {

// An address reduced to its host part: a mapped IPv6 address reads as the
// IPv4 address it carries.
struct HostPart {
    int family;
    uint8_t bytes[16];
};

HostPart host_part(const sockaddr *a)
{
    HostPart h{family_of(a), {}};
    if (h.family == AF_INET) {
        std::memcpy(h.bytes, &v4(a)->sin_addr, 4);
    } else if (h.family == AF_INET6) {
        const in6_addr &x = v6(a)->sin6_addr;
        if (is_mapped(x)) {
            h.family = AF_INET;
            std::memcpy(h.bytes, x.s6_addr + 12, 4);
        } else {
            std::memcpy(h.bytes, x.s6_addr, 16);
        }
    }
    return h;
}

// An address widened to 16 bytes: IPv4 as its mapped IPv6 form.
void widen_address(const sockaddr *a, uint8_t out[16])
{
    std::memset(out, 0, 16);
    if (family_of(a) == AF_INET) {
        out[10] = out[11] = 0xFF;
        std::memcpy(out + 12, &v4(a)->sin_addr, 4);
    } else if (family_of(a) == AF_INET6) {
        std::memcpy(out, &v6(a)->sin6_addr, 16);
    }
}

// A mask widened to 16 bytes: an IPv4 mask covers the last 32 bits only, so
// the mapped marker and everything above it are masked away.
void widen_mask(const sockaddr *m, uint8_t out[16])
{
    std::memset(out, 0, 16);
    if (family_of(m) == AF_INET)
        std::memcpy(out + 12, &v4(m)->sin_addr, 4);
    else if (family_of(m) == AF_INET6)
        std::memcpy(out, &v6(m)->sin6_addr, 16);
}

// Leading ones of one 32-bit value, counting a remaining 0x7FFFFFFF as a
// one; `done` tells whether the count stopped inside the value.
int leading_ones(uint32_t v, bool &done)
{
    for (int i = 0; i < 32; ++i) {
        if (v < 0x7FFFFFFFu) {
            done = true;
            return i;
        }
        v <<= 1;
    }
    done = false;
    return 32;
}

void set_family(sockaddr *a, int family)
{
    sa_family_t f = static_cast<sa_family_t>(family);
    std::memcpy(&a->sa_family, &f, sizeof f);
}

}  // namespace

extern "C" {

int ox_inet_addrcmp(const sockaddr *a, const sockaddr *b)
{
    if (a == nullptr || b == nullptr || family_of(a) == 0 || family_of(b) == 0)
        return fail_errno(EINVAL);
    HostPart x = host_part(a), y = host_part(b);
    if (x.family != y.family)
        return -1;
    if (x.family == AF_INET)
        return std::memcmp(x.bytes, y.bytes, 4) == 0 ? 0 : -1;
    if (x.family == AF_INET6)
        return std::memcmp(x.bytes, y.bytes, 16) == 0 ? 0 : -1;
    ox_inet_getlen(a);  // leaves EINVAL for the unknown family
    return -1;
}

int ox_inet_addrcmp_netmask(const sockaddr *a, const sockaddr *b, const sockaddr *mask)
{
    if (a == nullptr || b == nullptr || mask == nullptr || family_of(a) == 0 || family_of(b) == 0 ||
        family_of(mask) == 0)
        return fail_errno(EINVAL);
    if (ox_inet_isanyaddr(mask))
        return 0;
    uint8_t x[16], y[16], m[16];
    widen_address(a, x);
    widen_address(b, y);
    widen_mask(mask, m);
    for (int i = 0; i < 16; ++i) {
        uint8_t p = x[i] & m[i], q = y[i] & m[i];
        if (p != q)
            return p < q ? -1 : 1;
    }
    return 0;
}

int ox_inet_addrcmp_prefix(const sockaddr *a, const sockaddr *b, unsigned int prefix)
{
    sockaddr_storage mask{};
    auto *m = reinterpret_cast<sockaddr *>(&mask);
    if (ox_inet_netmask_from_prefix(AF_INET, prefix, m) != 0)
        return -1;
    return ox_inet_addrcmp_netmask(a, b, m);
}

int ox_inet_netmask_from_prefix(int family, unsigned int prefix, sockaddr *mask)
{
    if (prefix > 128 || mask == nullptr)
        return fail_errno(EINVAL);
    if (family == AF_INET) {
        uint32_t bits = prefix == 0 ? 0 : 0xFFFFFFFFu << ((32 - prefix) % 32);
        set_family(mask, AF_INET);
        v4(mask)->sin_addr.s_addr = htonl(bits);
        return 0;
    }
    if (family != AF_INET6)
        return 0;
    in6_addr out{};
    unsigned int left = prefix;
    for (int g = 0; g < 4 && left > 0; ++g) {
        unsigned int n = left < 32 ? left : 32;
        uint32_t bits = htonl(n == 32 ? 0xFFFFFFFFu : ~(0xFFFFFFFFu >> n));
        std::memcpy(out.s6_addr + 4 * g, &bits, 4);
        left -= n;
    }
    set_family(mask, AF_INET6);
    v6(mask)->sin6_addr = out;
    return 0;
}

int ox_inet_prefix_from_netmask(const sockaddr *mask)
{
    int f = mask ? family_of(mask) : 0;
    bool done = false;
    if (f == AF_INET)
        return leading_ones(ntohl(v4(mask)->sin_addr.s_addr), done);
    if (f != AF_INET6)
        return 0;
    int total = 0;
    for (int g = 0; g < 4; ++g) {
        uint32_t v;  // read in the host's byte order, deliberately
        std::memcpy(&v, v6(mask)->sin6_addr.s6_addr + 4 * g, 4);
        total += leading_ones(v, done);
        if (done)
            break;
    }
    return total;
}

}  // extern "C"
