// The numeric address parsers on arbitrary text: ox_inet_pton() and the
// predicates built on it agree; an accepted text prints (ox_inet_ntop) and
// parses back to the same address; the IPv6 prefix length found by
// ox_inet_parseipv6addr() is a prefix that parses; no answer ever depends
// on bytes past the terminator; a buffer too small for the text fails.
#include <arpa/inet.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "cairn/net.h"
#include "fuzz_input.hpp"

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

sockaddr *as_addr(sockaddr_storage &ss) { return reinterpret_cast<sockaddr *>(&ss); }

bool is_link_local(const sockaddr *addr)
{
    const auto *b = reinterpret_cast<const sockaddr_in6 *>(addr)->sin6_addr.s6_addr;
    return addr->sa_family == AF_INET6 && b[0] == 0xfe && (b[1] & 0xc0) == 0x80;
}

// The full-size text parses back to the same address (link-local ones
// print as fe80:: and their last four groups only, so only those must
// agree); a smaller buffer holds the whole text or fails, never a cut one.
void check_round_trip(const sockaddr *addr)
{
    char text[INET6_ADDRSTRLEN + 8];
    check(ox_inet_ntop(addr, text, sizeof text) == text);
    check(std::strlen(text) < sizeof text);
    sockaddr_storage back{};
    check(ox_inet_pton(text, as_addr(back)) == 0);
    if (is_link_local(addr))
        check(std::memcmp(reinterpret_cast<const sockaddr_in6 *>(addr)->sin6_addr.s6_addr + 8,
                          reinterpret_cast<sockaddr_in6 *>(&back)->sin6_addr.s6_addr + 8, 8) == 0);
    else
        check(ox_inet_addrcmp(addr, as_addr(back)) == 0);
    std::size_t need = std::strlen(text) + 1;
    for (std::size_t len : {std::size_t{1}, need - 1, need}) {
        char small[INET6_ADDRSTRLEN + 8];
        char *got = ox_inet_ntop(addr, small, static_cast<int>(len));
        check(len < need ? got == nullptr : got != nullptr && std::strcmp(small, text) == 0);
    }
    char hex[40];
    ox_inet_addrtohex(addr, hex, sizeof hex);
    check(std::strlen(hex) < sizeof hex);
}

void check_ipv6_prefix(const char *text)
{
    int n = ox_inet_parseipv6addr(text);
    check(n >= 0 && static_cast<std::size_t>(n) <= std::strlen(text));
    if (n == 0)
        return;
    std::string prefix(text, static_cast<std::size_t>(n));
    check(ox_inet_isvalidipv6addr(prefix.c_str(), 0) == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzText input(data, size);
    const char *text = input.get();
    int family = ox_inet_getaf(text);
    check(family == 0 || family == AF_INET || family == AF_INET6);
    sockaddr_storage ss{};
    bool parsed = ox_inet_pton(text, as_addr(ss)) == 0;
    check(ox_inet_isvalidaddr(text) == (parsed ? 1 : 0));
    if (parsed) {
        check(ss.ss_family == family);
        check_round_trip(as_addr(ss));
    }
    // Mode 0 never asks the resolver; other modes than 0 and 1 say no.
    int v6 = ox_inet_isvalidipv6addr(text, 0);
    check(v6 == 0 || (parsed && family == AF_INET6));
    check(ox_inet_isvalidipv6addr(text, 7) == 0);
    check_ipv6_prefix(text);
    int loop = ox_inet_isloopback_name(text);
    check(loop == 0 || loop == 1);
    return 0;
}
