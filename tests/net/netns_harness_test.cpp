// The hermetic network harness itself: private hosts file, private DNS
// server with a query count, and the delaying relay.
#include <gtest/gtest.h>
#include <netdb.h>
#include <arpa/inet.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "netns.hpp"

namespace {

using cairn::testing::NetNamespace;
using cairn::testing::NetnsOptions;

// The first IPv4 address glibc finds for `name`, or the getaddrinfo error.
std::string lookup4(const char *name)
{
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *res = nullptr;
    int rc = getaddrinfo(name, nullptr, &hints, &res);
    if (rc != 0)
        return std::string("error: ") + gai_strerror(rc);
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in *>(res->ai_addr)->sin_addr, text, sizeof text);
    freeaddrinfo(res);
    return text;
}

TEST(NetnsHarness, HostsFileAndHostNameAreTheChildsOwn)
{
    NetnsOptions o;
    o.hosts = "127.0.0.1 localhost\n10.1.2.3 box.harness.test\n";
    o.hostname = "harness-host";
    CAIRN_IN_NETNS(o, [](NetNamespace &ns) {
        EXPECT_EQ(lookup4("box.harness.test"), "10.1.2.3");
        char name[256] = "";
        gethostname(name, sizeof name);
        EXPECT_STREQ(name, "harness-host");
        EXPECT_EQ(ns.dns_queries(), 0);
    });
}

TEST(NetnsHarness, DnsServerAnswersAndCountsQueries)
{
    NetnsOptions o;
    o.dnsmasq = true;
    o.dns_records = {"--address=/db.harness.test/10.9.9.9",
                     "--host-record=web.harness.test,10.8.8.8"};
    CAIRN_IN_NETNS(o, [](NetNamespace &ns) {
        EXPECT_EQ(ns.dns_queries(), 0);
        EXPECT_EQ(lookup4("db.harness.test"), "10.9.9.9");
        int after_one = ns.dns_queries();
        EXPECT_GE(after_one, 1);
        EXPECT_EQ(lookup4("web.harness.test"), "10.8.8.8");
        EXPECT_GT(ns.dns_queries(), after_one);
    });
}

TEST(NetnsHarness, RelayDelaysAnswers)
{
    NetnsOptions o;
    o.dnsmasq = true;
    o.relay_delay_ms = 300;
    o.dns_records = {"--address=/slow.harness.test/10.7.7.7"};
    CAIRN_IN_NETNS(o, [](NetNamespace &ns) {
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(lookup4("slow.harness.test"), "10.7.7.7");
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
        EXPECT_GE(ns.dns_queries(), 1);
    });
}

}  // namespace
