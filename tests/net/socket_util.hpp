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
    EXPECT_EQ(ox_inet_pton(text, reinterpret_cast<sockaddr *>(&a)), 0) << text;
    ox_inet_setport(reinterpret_cast<sockaddr *>(&a), htons(port));
    return a;
}

inline const sockaddr *sa(const sockaddr_storage &a)
{
    return reinterpret_cast<const sockaddr *>(&a);
}

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
