// The numeric address parsers on arbitrary text: ox_inet_pton() and the
// predicates built on it agree; an accepted text prints (ox_inet_ntop) and
// parses back to the same address; the IPv6 prefix length found by
// ox_inet_parseipv6addr() is a prefix that parses; no answer ever depends
// on bytes past the terminator.
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

// Printing into buffers of every small size either fits, terminated, or
// fails; the full-size form parses back to the same address.
void check_round_trip(const sockaddr *addr)
{
    char text[INET6_ADDRSTRLEN + 8];
    check(ox_inet_ntop(addr, text, sizeof text) == text);
    check(std::strlen(text) < sizeof text);
    sockaddr_storage back{};
    check(ox_inet_pton(text, as_addr(back)) == 0);
    check(ox_inet_addrcmp(addr, as_addr(back)) == 0);
    for (int len = 1; len < 8; ++len) {
        char small[8];
        if (ox_inet_ntop(addr, small, len) != nullptr)
            check(std::strlen(small) < static_cast<std::size_t>(len));
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
