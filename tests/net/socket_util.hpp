// Shared pieces of the socket tests: the hermetic namespace in which this
// host's own name resolves, loopback addresses and the last error.
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

inline sockaddr_storage address(const char *text, uint16_t port)
{
    sockaddr_storage a{};
    auto *v4 = reinterpret_cast<sockaddr_in *>(&a);
    auto *v6 = reinterpret_cast<sockaddr_in6 *>(&a);
    if (inet_pton(AF_INET, text, &v4->sin_addr) == 1) {
        v4->sin_family = AF_INET;
        v4->sin_port = htons(port);
    } else if (inet_pton(AF_INET6, text, &v6->sin6_addr) == 1) {
        v6->sin6_family = AF_INET6;
        v6->sin6_port = htons(port);
    }
    return a;
}

inline const sockaddr *sa(const sockaddr_storage &a) { return reinterpret_cast<const sockaddr *>(&a); }

inline uint16_t bound_port(int s)
{
    sockaddr_storage a{};
    socklen_t len = sizeof a;
    EXPECT_EQ(ox_getsockname(s, reinterpret_cast<sockaddr *>(&a), &len), 0);
    return ntohs(a.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6 &>(a).sin6_port
                                         : reinterpret_cast<sockaddr_in &>(a).sin_port);
}

// The last error as (kind, native code).
inline std::pair<int, uint32_t> last_error()
{
    int kind = 0;
    uint32_t code = ox_error_get_last_native(&kind);
    return {kind, code};
}

}  // namespace sockets_test
