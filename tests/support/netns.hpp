// A hermetic network for tests: the body runs in a forked child inside its
// own network, mount and host-name namespaces, with its own loopback, its
// own hosts, nsswitch.conf and resolv.conf, and optionally a private DNS
// server (dnsmasq on 127.0.0.1:53) behind an optional delaying relay.
//
//   cairn::testing::NetnsOptions o;
//   o.hosts = "127.0.0.1 localhost\n10.1.2.3 box.test\n";
//   o.dns_records = {"--address=/db.test/10.9.9.9"};
//   CAIRN_IN_NETNS(o, [](cairn::testing::NetNamespace &ns) {
//       EXPECT_EQ(ns.dns_queries(), 0);
//   });
//
// The child's gtest failures make it exit non-zero; the parent then fails
// and shows the child's output.  Where the namespaces are refused the test
// is skipped with the reason, except under CI=true, where it fails.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "child_process.hpp"

namespace cairn::testing {

struct NetnsOptions {
    std::string hosts = "127.0.0.1 localhost\n::1 localhost ip6-localhost\n";
    std::string nsswitch = "hosts: files dns\n";
    std::string resolv = "nameserver 127.0.0.1\noptions timeout:2 attempts:1\n";
    std::string hostname;                  // set in the child when not empty
    bool dnsmasq = false;                  // start the private DNS server
    std::vector<std::string> dns_records;  // its record options, e.g.
                                           // "--address=/name/ip", "--host-record=name,ip"
    int relay_delay_ms = 0;                // > 0: answers reach clients this much later
    int timeout_ms = 60000;                // the child is killed after this
};

// What the body sees of its namespace.
class NetNamespace {
public:
    explicit NetNamespace(std::string dir) : dir_(std::move(dir)) {}
    // Queries the DNS server has read so far (0 without a server).
    int dns_queries() const;
    // The child's private directory (its files: hosts, resolv.conf, dns.log).
    const std::string &dir() const { return dir_; }

private:
    std::string dir_;
};

// Exit status of a child whose namespaces were refused.
inline constexpr int kNetnsRefused = 77;

// Run `body` in a child inside a fresh namespace set up from `options`.
ChildResult run_in_netns(const NetnsOptions &options,
                         const std::function<void(NetNamespace &)> &body);

// True when the tests run under CI, where a refused namespace is a failure.
bool netns_required();

}  // namespace cairn::testing

// Run a body in a hermetic namespace and report its outcome in the test.
#define CAIRN_IN_NETNS(options, ...)                                                               \
    do {                                                                                           \
        auto cairn_child_ = ::cairn::testing::run_in_netns((options), (__VA_ARGS__));              \
        if (cairn_child_.exited && cairn_child_.exit_code == ::cairn::testing::kNetnsRefused) {    \
            if (::cairn::testing::netns_required())                                                \
                FAIL() << "network namespace refused under CI: " << cairn_child_.err;              \
            GTEST_SKIP() << "network namespace refused: " << cairn_child_.err;                     \
        }                                                                                          \
        ASSERT_TRUE(cairn_child_.exited &&cairn_child_.exit_code == 0)                             \
            << "child exit " << cairn_child_.exit_code << " signal " << cairn_child_.signal        \
            << "\n--- stdout\n"                                                                    \
            << cairn_child_.out << "\n--- stderr\n"                                                \
            << cairn_child_.err;                                                                   \
    } while (0)
