// Shared pieces of the address and socket tests: the hermetic namespace in
// which this host's own name resolves, addresses from text and the last
// error.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cstring>

#include "cairn/frame.h"
#include "cairn/net.h"
#include "netns.hpp"

namespace sockets_test {

// A namespace whose host name, "sockhost", resolves and whose ::1 has a name.
inline cairn::testing::NetnsOptions resolvable_host()
{
    cairn::testing::NetnsOptions o;
    o.hostname = "sockhost";
    o.hosts = "127.0.0.1 localhost\n127.0.1.1 sockhost.example.test sockhost\n::1 ip6-localhost\n";
    o.resolv = "";  // no DNS: everything answers from the hosts file
    o.nsswitch = "hosts: files\n";
    return o;
}

// A socket address from numeric text ("10.0.0.1", "fe80::1") and a port,
// made with the system's parser, not the library's.
inline sockaddr_storage address(const char *text, uint16_t port = 0)
{
    sockaddr_storage ss{};
    if (std::strchr(text, ':')) {
        auto *a = reinterpret_cast<sockaddr_in6 *>(&ss);
        a->sin6_family = AF_INET6;
        a->sin6_port = htons(port);
        EXPECT_EQ(inet_pton(AF_INET6, text, &a->sin6_addr), 1) << text;
    } else {
        auto *a = reinterpret_cast<sockaddr_in *>(&ss);
        a->sin_family = AF_INET;
        a->sin_port = htons(port);
        EXPECT_EQ(inet_pton(AF_INET, text, &a->sin_addr), 1) << text;
    }
    return ss;
}

inline const sockaddr *sa(const sockaddr_storage &a)
{
    return reinterpret_cast<const sockaddr *>(&a);
}
inline sockaddr *sa(sockaddr_storage &a) { return reinterpret_cast<sockaddr *>(&a); }

inline uint16_t bound_port(int s)
{
    sockaddr_storage a{};
    socklen_t len = sizeof a;
    EXPECT_EQ(ox_getsockname(s, reinterpret_cast<sockaddr *>(&a), &len), 0);
    return ntohs(ox_inet_getport(sa(a)));
}

// The last error as (kind, native code).
inline std::pair<int, uint32_t> last_error()
{
    int kind = 0;
    uint32_t code = ox_error_get_last_native(&kind);
    return {kind, code};
}

}  // namespace sockets_test
