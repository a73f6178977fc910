// The caching resolver in a hermetic network namespace: its own hosts file
// and DNS server, whose query log tells when the system was asked; and,
// without any lookup, its cache keys, simulation rules and lookups in
// flight.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/containers.h"
#include "cairn/diagnostics.h"
#include "cairn/frame.h"
#include "cairn/messages.h"
#include "cairn/net.h"
#include "cairn/text.h"
#include "capture_fd.hpp"
#include "child_process.hpp"
#include "debug_scope.hpp"
#include "diagnostics/debug_settings.hpp"
#include "net/host_caches.hpp"
#include "net/inflight.hpp"
#include "net/resolver_key.hpp"
#include "net/sim_rules.hpp"
#include "netns.hpp"
#include "platform/alloc_testing.hpp"
#include "socket_util.hpp"

using cairn::testing::NetNamespace;
using cairn::testing::NetnsOptions;
using namespace cairn::net;

namespace {

std::string text_of(const sockaddr *a)
{
    char buf[64];
    return ox_inet_ntop(a, buf, sizeof buf) ? buf : "(null)";
}

// The addresses of a chain, blank-separated.
std::string texts(const addrinfo *chain)
{
    std::string out;
    for (; chain; chain = chain->ai_next)
        out += (out.empty() ? "" : " ") + text_of(chain->ai_addr);
    return out;
}

addrinfo v4_hints()
{
    addrinfo h{};
    h.ai_family = AF_INET;
    h.ai_socktype = SOCK_STREAM;
    return h;
}

// One lookup: the addresses, or "error N".
std::string lookup(const char *host, const addrinfo *hints)
{
    addrinfo *res = nullptr;
    int rc = ox_getaddrinfo(host, nullptr, hints, &res);
    std::string out = rc == 0 ? texts(res) : "error " + std::to_string(rc);
    if (rc != 0) {
        EXPECT_EQ(res, nullptr);
    }
    ox_freeaddrinfo(res);
    return out;
}

std::string reverse(const char *text, int flags)
{
    sockaddr_storage ss{};
    auto *sa = reinterpret_cast<sockaddr *>(&ss);
    EXPECT_EQ(ox_inet_pton(text, sa), 0) << text;
    char host[NI_MAXHOST] = "x";
    int rc = ox_getnameinfo(sa, static_cast<socklen_t>(ox_inet_getlen(sa)), host, sizeof host,
                            nullptr, 0, flags);
    return rc == 0 ? host : "error " + std::to_string(rc);
}

// Messages that msg_print handles in this process.
std::vector<std::string> g_messages;
void keep_message(const char *text) { g_messages.push_back(text); }

// What the operator's cache request prints, as one text.
std::string operator_request_output()
{
    g_messages.clear();
    dns_check_dbg_op();
    std::string all;
    for (const std::string &m : g_messages)
        all += m;
    return all;
}

NetnsOptions dns_options(int delay_ms = 0)
{
    NetnsOptions o;
    o.dnsmasq = true;
    o.relay_delay_ms = delay_ms;
    o.resolv = "nameserver 127.0.0.1\noptions timeout:5 attempts:1\n";
    o.dns_records = {"--host-record=a.rt.test,10.1.1.1", "--host-record=sim.rt.test,10.1.1.2",
                     "--local=/rt.test/"};
    return o;
}

void wait_next_second()
{
    time_t t0 = std::time(nullptr);
    while (std::time(nullptr) == t0)
        usleep(20000);
}

TEST(Resolver, HitMissNegativeExpiryAndSwitches)
{
    auto body = [](NetNamespace &ns) {
        addrinfo h = v4_hints();
        EXPECT_EQ(lookup("a.rt.test", &h), "10.1.1.1");
        int q = ns.dns_queries();
        EXPECT_GE(q, 1);
        EXPECT_EQ(lookup("a.rt.test", &h), "10.1.1.1");  // a hit
        EXPECT_EQ(ns.dns_queries(), q);

        EXPECT_EQ(lookup("nope.rt.test", &h), "error " + std::to_string(EAI_NONAME));
        int kind = 0;
        EXPECT_EQ(ox_error_get_last_native(&kind), static_cast<uint32_t>(EAI_NONAME));
        EXPECT_EQ(kind, OX_ERRKIND_RESOLVER);
        q = ns.dns_queries();
        EXPECT_EQ(lookup("nope.rt.test", &h), "error " + std::to_string(EAI_NONAME));
        EXPECT_EQ(ns.dns_queries(), q);  // negative hit

        EXPECT_EQ(ox_inet_addrinfo_cache_remove("a.rt.test", nullptr, &h), 0);
        EXPECT_EQ(ox_inet_addrinfo_cache_remove("a.rt.test", nullptr, &h), OX_ENOENT);
        EXPECT_EQ(lookup("a.rt.test", &h), "10.1.1.1");
        EXPECT_GT(ns.dns_queries(), q);

        int32_t pos = 0, neg = 0;
        ox_inet_cache_set_ttls(-1, 60);
        ox_inet_cache_get_ttls(&pos, &neg);
        EXPECT_EQ(pos, 1800);
        EXPECT_EQ(neg, 60);
        ox_inet_cache_set_ttls(0, 0);  // expire at the next second
        EXPECT_EQ(ox_inet_cache_flush(), 0);
        EXPECT_EQ(lookup("a.rt.test", &h), "10.1.1.1");
        q = ns.dns_queries();
        wait_next_second();
        EXPECT_EQ(lookup("a.rt.test", &h), "10.1.1.1");
        EXPECT_GT(ns.dns_queries(), q);

        ox_inet_cache_set_ttls(1800, 1800);
        // The host-list caches keep their own times to live, by the same rule.
        dns_cache_set_ttls(-5, 90);
        dns_cache_get_ttls(&pos, &neg);
        EXPECT_EQ(pos, 1800);
        EXPECT_EQ(neg, 90);
        dns_cache_set_ttls(1800, -1);
        dns_cache_get_ttls(&pos, nullptr);
        dns_cache_get_ttls(nullptr, &neg);
        EXPECT_EQ(pos, 1800);
        EXPECT_EQ(neg, 90);
        int32_t off = 0, bad = 5;
        EXPECT_EQ(ox_conf(OX_CONF_INET_CACHE, &bad), -1);
        EXPECT_EQ(ox_conf(OX_CONF_INET_CACHE, &off), 0);
        q = ns.dns_queries();
        EXPECT_EQ(lookup("a.rt.test", &h), "10.1.1.1");
        EXPECT_EQ(lookup("a.rt.test", &h), "10.1.1.1");
        EXPECT_EQ(ns.dns_queries(), q + 2);  // every lookup asks
        EXPECT_EQ(ox_inet_addrinfo_cache_remove("a.rt.test", nullptr, &h), 0);
    };
    CAIRN_IN_NETNS(dns_options(), body);
}

TEST(Resolver, ShortcutsNumericHostsAndReverse)
{
    NetnsOptions o;
    o.hosts = "127.0.0.1 localhost\n::1 localhost ip6-localhost\n10.1.2.3 box.rt.test box\n";
    o.nsswitch = "hosts: files\n";
    auto body = [](NetNamespace &) {
        addrinfo *res = nullptr;
        ASSERT_EQ(ox_getaddrinfo("0.0.0.0", nullptr, nullptr, &res), 0);
        EXPECT_EQ(res->ai_family, AF_INET);
        EXPECT_STREQ(res->ai_canonname, "0.0.0.0");
        EXPECT_EQ(res->ai_protocol, IPPROTO_TCP);
        ox_freeaddrinfo(res);
        ASSERT_EQ(ox_getaddrinfo("::", nullptr, nullptr, &res), 0);
        EXPECT_EQ(res->ai_addrlen, 28u);
        ox_freeaddrinfo(res);

        addrinfo h = v4_hints();
        EXPECT_EQ(lookup("", &h).substr(0, 9), "127.0.0.1");  // the empty host is localhost
        // A numeric host is named first; its answer carries the name.
        addrinfo canon = v4_hints();
        canon.ai_flags = AI_CANONNAME;
        ASSERT_EQ(ox_getaddrinfo("10.1.2.3", "80", &canon, &res), 0);
        EXPECT_STREQ(res->ai_canonname, "box.rt.test");
        EXPECT_EQ(ntohs(ox_inet_getport(res->ai_addr)), 80);
        ox_freeaddrinfo(res);

        char buf[NI_MAXHOST];
        EXPECT_STREQ(ox_inet_ptoh("box", buf, sizeof buf), "box.rt.test");
        EXPECT_STREQ(ox_inet_ptoh("nohost.rt.test", buf, sizeof buf), "nohost.rt.test");
        EXPECT_STREQ(ox_inet_htop("box", buf, sizeof buf), "10.1.2.3");
        EXPECT_EQ(ox_inet_htop("nohost.rt.test", buf, sizeof buf), nullptr);
        EXPECT_STREQ(buf, "nohost.rt.test");
        EXPECT_EQ(ox_inet_hostcmp("box", "BOX.rt.test"), 0);
        EXPECT_EQ(ox_inet_hostcmp("box", "localhost"), -1);
        EXPECT_EQ(ox_inet_hostcmp("box", "nohost.rt.test"), -1);
        EXPECT_EQ(ox_inet_isvalidhost("box"), 1);
        EXPECT_EQ(ox_inet_isvalidhost("nohost.rt.test"), 0);
        EXPECT_EQ(ox_error_get_last(), 0);

        struct Row {
            const char *addr;
            int flags;
            std::string want;
        } rows[] = {
            {"::1", NI_NAMEREQD, "localhost6"},
            {"127.0.0.2", NI_NAMEREQD, "localhost"},
            {"fe80::1:2:3:4", 0, "fe80::1:2:3:4"},
            {"fe80::1:2:3:4", NI_NAMEREQD, "error " + std::to_string(EAI_NONAME)},
            {"10.1.2.3", NI_NAMEREQD, "box.rt.test"},
            {"::ffff:10.1.2.3", NI_NAMEREQD, "box.rt.test"},
            {"10.9.9.9", NI_NAMEREQD, "error " + std::to_string(EAI_NONAME)},
        };
        for (const Row &r : rows)
            EXPECT_EQ(reverse(r.addr, r.flags), r.want) << r.addr;
        sockaddr_storage ss{};
        ox_inet_pton("10.1.2.3", reinterpret_cast<sockaddr *>(&ss));
        EXPECT_EQ(ox_inet_nameinfo_cache_remove(reinterpret_cast<sockaddr *>(&ss), 16, NI_NAMEREQD),
                  0);
        EXPECT_EQ(ox_inet_isvalidipv6addr("::1", 1), 1);  // names as localhost6

        char **aliases = nullptr;
        EXPECT_EQ(ox_getaliasinfo("box.rt.test", &aliases), 1);
        ASSERT_NE(aliases, nullptr);
        EXPECT_STREQ(aliases[0], "box");
        ox_strvfree(aliases);
        EXPECT_EQ(ox_getaliasinfo("nohost.rt.test", &aliases), -1);
        EXPECT_EQ(aliases, nullptr);
    };
    CAIRN_IN_NETNS(o, body);
}

// An answer longer than the caller's buffer is refused with EAI_OVERFLOW,
// as the system resolver refuses it, whether it comes from the system, the
// cache, the link-local or the loopback shortcut: never cut to fit.
TEST(Resolver, AnswersThatDoNotFitOverflow)
{
    NetnsOptions o;
    o.hosts = "127.0.0.1 localhost\n::1 localhost6\n10.1.2.3 box.rt.test box\n";
    o.nsswitch = "hosts: files\n";
    auto body = [](NetNamespace &) {
        auto reverse_in = [](const char *text, int flags, socklen_t len) {
            sockaddr_storage ss{};
            auto *sa = reinterpret_cast<sockaddr *>(&ss);
            EXPECT_EQ(ox_inet_pton(text, sa), 0) << text;
            char host[NI_MAXHOST] = "x";
            int rc = ox_getnameinfo(sa, static_cast<socklen_t>(ox_inet_getlen(sa)), host, len,
                                    nullptr, 0, flags);
            return rc == 0 ? std::string(host) : "error " + std::to_string(rc);
        };
        const std::string overflow = "error " + std::to_string(EAI_OVERFLOW);
        struct Row {
            const char *addr;
            int flags;
            socklen_t len;
            std::string want;
        } rows[] = {
            {"10.1.2.3", NI_NAMEREQD, 11, overflow},  // the system's answer
            {"10.1.2.3", NI_NAMEREQD, 12, "box.rt.test"},
            {"10.1.2.3", NI_NAMEREQD, 11, overflow},  // now from the cache
            {"10.1.2.3", NI_NUMERICHOST, 8, overflow},
            {"10.1.2.3", NI_NUMERICHOST, 9, "10.1.2.3"},
            {"10.1.2.3", NI_NUMERICHOST, 8, overflow},
            {"fe80::1:2:3:4", 0, 13, overflow},
            {"fe80::1:2:3:4", 0, 14, "fe80::1:2:3:4"},
            {"::1", NI_NAMEREQD, 10, overflow},
            {"::1", NI_NAMEREQD, 11, "localhost6"},
        };
        for (const Row &r : rows)
            EXPECT_EQ(reverse_in(r.addr, r.flags, r.len), r.want) << r.addr << " in " << r.len;
        sockaddr_storage ss{};
        auto *sa = reinterpret_cast<sockaddr *>(&ss);
        ASSERT_EQ(ox_inet_pton("::ffff:10.1.2.3", sa), 0);
        char buf[16];
        EXPECT_EQ(ox_inet_ntop(sa, buf, 8), nullptr);
        int kind = 0;
        EXPECT_EQ(ox_error_get_last_native(&kind), static_cast<uint32_t>(EAI_OVERFLOW));
        EXPECT_EQ(kind, OX_ERRKIND_RESOLVER);
        EXPECT_STREQ(ox_inet_ntop(sa, buf, 9), "10.1.2.3");
    };
    CAIRN_IN_NETNS(o, body);
}

TEST(Resolver, LocalhostWithoutIpv6)
{
    NetnsOptions o;
    o.nsswitch = "hosts: files\n";
    auto body = [](NetNamespace &) {
        std::ofstream("/proc/sys/net/ipv6/conf/lo/disable_ipv6") << "1\n";
        sockaddr_storage z{};
        ox_inet_setanyaddr(reinterpret_cast<sockaddr *>(&z));  // runs the set-up
        EXPECT_EQ(z.ss_family, AF_INET);
        addrinfo any{};
        any.ai_socktype = SOCK_STREAM;
        EXPECT_EQ(lookup("localhost", &any), "127.0.0.1");
        EXPECT_EQ(lookup("LOCALHOST", &any), "127.0.0.1");
    };
    CAIRN_IN_NETNS(o, body);
}

TEST(Resolver, SimulationRulesFromTheDebugDirectory)
{
    auto body = [](NetNamespace &ns) {
        // A private application tree at /mnt: the default directory of "mnt".
        ASSERT_EQ(mount("tmpfs", "/mnt", "tmpfs", 0, nullptr), 0);
        ASSERT_EQ(mkdir("/mnt/debug", 0755), 0);
        std::ofstream("/mnt/debug/rdlr") << "dnslu sim.rt.test sim_error\nrdnslu 10.1.1.1 same_ip\n"
                                         << "rdnslu 10.1.1.2 named.rt.test\n";
        oxinit("mnt");
        ASSERT_STREQ(ox_get_debugdir(), "/mnt/debug");
        addrinfo h = v4_hints();
        EXPECT_EQ(lookup("sim.rt.test", &h), "error " + std::to_string(EAI_FAIL));
        EXPECT_EQ(lookup("sim.rt.test", &h), "error " + std::to_string(EAI_FAIL));  // not cached
        EXPECT_EQ(ns.dns_queries(), 0);
        EXPECT_EQ(reverse("10.1.1.1", NI_NAMEREQD), "10.1.1.1");
        EXPECT_EQ(reverse("10.1.1.2", 0), "named.rt.test");
    };
    CAIRN_IN_NETNS(dns_options(), body);
}

TEST(Resolver, SlowLookupIsReported)
{
    NetnsOptions o = dns_options(2100);
    auto body = [](NetNamespace &) {
        msg_callback_set(keep_message);
        LogDnsThreshold = 1;
        addrinfo h = v4_hints();
        EXPECT_EQ(lookup("a.rt.test", &h), "10.1.1.1");
        ASSERT_EQ(g_messages.size(), 1u);
        const std::string want = "Successful forward DNS lookup of host a.rt.test, service null "
                                 "with hints ai_flags 0000, ai_family 2, ai_socktype 1, "
                                 "ai_protocol 0 took ";
        EXPECT_EQ(g_messages[0].substr(0, want.size()), want) << g_messages[0];
        EXPECT_GE(std::atoi(g_messages[0].c_str() + want.size()), 2);
        LogDnsThreshold = 0;
        msg_callback_set(nullptr);
    };
    CAIRN_IN_NETNS(o, body);
}

// Threads asking together for one missing name make one query, and each
// gets its own copy of the one answer.
TEST(Resolver, ConcurrentAskersShareOneLookup)
{
    auto body = [](NetNamespace &ns) {
        addrinfo h = v4_hints();
        EXPECT_EQ(lookup("gone.rt.test", &h), "error " + std::to_string(EAI_NONAME));
        int per_lookup = ns.dns_queries();
        ASSERT_GE(per_lookup, 1);
        for (const char *name : {"a.rt.test", "other.rt.test"}) {
            constexpr int kThreads = 8;
            std::latch start(kThreads);
            std::vector<std::string> got(kThreads);
            std::vector<addrinfo *> chains(kThreads);
            std::vector<std::thread> threads;
            int before = ns.dns_queries();
            for (int i = 0; i < kThreads; ++i)
                threads.emplace_back([&, i] {
                    start.arrive_and_wait();
                    int rc = ox_getaddrinfo(name, nullptr, &h, &chains[i]);
                    got[i] = rc == 0 ? texts(chains[i]) : "error " + std::to_string(rc);
                });
            for (auto &t : threads)
                t.join();
            EXPECT_EQ(ns.dns_queries() - before, per_lookup) << name;
            for (int i = 0; i < kThreads; ++i) {
                EXPECT_EQ(got[i], got[0]);
                if (i > 0 && chains[i]) {
                    EXPECT_NE(chains[i], chains[0]);
                }
            }
            for (addrinfo *c : chains)
                ox_freeaddrinfo(c);
        }
    };
    CAIRN_IN_NETNS(dns_options(400), body);
}

TEST(Resolver, OperatorPrintsAndFlushes)
{
    NetnsOptions o;
    o.hosts = "127.0.0.1 localhost\n10.1.2.3 box.rt.test box\n";
    o.nsswitch = "hosts: files\n";
    auto body = [](NetNamespace &) {
        addrinfo h = v4_hints();
        h.ai_protocol = IPPROTO_TCP;
        EXPECT_EQ(lookup("box.rt.test", &h), "10.1.2.3");
        EXPECT_EQ(reverse("10.1.2.3", NI_NAMEREQD), "box.rt.test");
        EXPECT_EQ(cairn::net::host_cache_add("box", "box.rt.test"), 0);
        EXPECT_EQ(cairn::net::client_cache_add("client1", 0), 0);
        EXPECT_EQ(cairn::net::client_cache_add("retired1", 1), 0);
        msg_callback_set(keep_message);
        PrintDnsCache = 1;
        cairn::g_print_inactive_clients = 1;
        EXPECT_EQ(
            operator_request_output(),
            // ox_inet_pton() and ox_inet_ntop() look up through the cache too.
            "DNS (level I) cache:\n"
            "hostname: 10.1.2.3, address: 10.1.2.3, ai_flags: 0x0004, family: inet, protocol: tcp\n"
            "hostname: 10.1.2.3, address: 10.1.2.3, ai_flags: 0x0004, family: inet, protocol: udp\n"
            "hostname: 10.1.2.3, address: 10.1.2.3, ai_flags: 0x0004, family: inet, protocol: "
            "unspec\n"
            "hostname: box.rt.test, address: 10.1.2.3, ai_flags: 0x0000, family: inet, protocol: "
            "tcp\n"
            "hostname: box.rt.test, service: , address: 10.1.2.3, ni_flags 0x0008\n"
            "hostname: 10.1.2.3, service: , address: 10.1.2.3, ni_flags 0x0001\n"
            "DNS (level II) cache:\n"
            "Size: 1 hosts:\nbox (box.rt.test)\n"
            "Clients cache:\nSize: 1 clients:\nclient1\n"
            "Inactive Client's cache: (Clients in Retired or Decommissioned state)\n"
            "Size: 1 clients:\nretired1\n");
        EXPECT_EQ(PrintDnsCache, 0);
        EXPECT_EQ(cairn::g_print_inactive_clients, 0);

        FlushDnsCache = PrintDnsCache = 1;
        EXPECT_EQ(operator_request_output(),
                  "DNS (level I) cache:\nDNS (level II) cache:\nSize: 0 hosts:\n"
                  "Clients cache:\nSize: 0 clients:\n");
        EXPECT_EQ(FlushDnsCache, 0);

        // The exit handlers tear the caches down; a later lookup starts again.
        ox_atexit_execute_and_remove_all();
        EXPECT_EQ(lookup("box.rt.test", &h), "10.1.2.3");
        PrintDnsCache = 1;
        std::string all = operator_request_output();
        EXPECT_NE(all.find("hostname: box.rt.test, address: 10.1.2.3"), std::string::npos) << all;
        EXPECT_NE(all.find("Size: 0 hosts:\n"), std::string::npos) << all;  // made anew
        msg_callback_set(nullptr);
    };
    CAIRN_IN_NETNS(o, body);
}

KeyRecord fkey(const char *host, const char *service, int flags = 0, int family = 0)
{
    addrinfo hints{};
    hints.ai_flags = flags;
    hints.ai_family = family;
    KeyRecord k;
    forward_key(k, host, service, &hints);
    return k;
}

KeyRecord rkey(const char *text, uint16_t port, int flags)
{
    sockaddr_storage ss = sockets_test::address(text, port);
    KeyRecord k;
    reverse_key(k, sockets_test::sa(ss), sizeof ss, flags);
    return k;
}

TEST(ResolverKey, ForwardHashAndEquality)
{
    KeyRecord a = fkey("Box.Test", "ftp"), b = fkey("box.test", "FTP");
    EXPECT_EQ(forward_hash(&a), ox_hash_string("Box.Testftp"));
    KeyRecord host_only = fkey("box.test", nullptr), service_only = fkey(nullptr, "ftp");
    EXPECT_EQ(forward_hash(&host_only), ox_hash_string("box.test"));
    EXPECT_EQ(forward_hash(&service_only), ox_hash_string("ftp"));

    struct Row {
        KeyRecord x, y;
        bool equal;
    } rows[] = {
        {a, b, true},                                       // case ignored
        {host_only, fkey("BOX.TEST", ""), true},            // no service either way
        {host_only, a, false},                              // one has a service
        {fkey("box.test", "ftp", AI_CANONNAME), a, false},  // hints differ
        {fkey("box.test", "ftp", 0, AF_INET), a, false},
        {service_only, service_only, false},  // empty host never matches
        {fkey("", ""), fkey("", ""), false},
    };
    for (Row &r : rows)
        EXPECT_EQ(forward_equal(&r.x, &r.y) == 0, r.equal) << r.x.host << "|" << r.y.host;

    // Texts are bounded to their fields.
    std::string long_host(2000, 'h'), long_service(100, 's');
    KeyRecord l = fkey(long_host.c_str(), long_service.c_str());
    EXPECT_EQ(std::string(l.host).size(), 1024u);
    EXPECT_EQ(std::string(l.service).size(), 31u);
}

TEST(ResolverKey, ReverseHashAndEquality)
{
    KeyRecord v4 = rkey("10.0.0.1", 80, 0), mapped = rkey("::ffff:10.0.0.1", 443, 0);
    EXPECT_EQ(reverse_hash(&v4), 0x0a000001u);
    EXPECT_EQ(reverse_hash(&mapped), 0x0a000001u);
    KeyRecord v6 = rkey("2001:db8::1:2", 0, 0);
    EXPECT_EQ(reverse_hash(&v6), 0x00010002u);  // the last group, host order
    KeyRecord none{};
    EXPECT_EQ(reverse_hash(&none), 0u);

    EXPECT_EQ(reverse_equal(&v4, &mapped), 0);  // ports ignored, mapped matches
    KeyRecord named = rkey("10.0.0.1", 80, NI_NAMEREQD);
    EXPECT_NE(reverse_equal(&v4, &named), 0);  // flags differ
    KeyRecord other = rkey("10.0.0.2", 80, 0);
    EXPECT_NE(reverse_equal(&v4, &other), 0);
}

// The rules file: comments, blank, malformed and over-long lines, the
// rule limit, and the answers the rules give.
TEST(SimRules, ParsingAndAnswers)
{
    char path[] = "/tmp/rdlr_XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    {
        std::ofstream f(path);
        f << "# comment\n\n"
          << "dnslu bad.test sim_error\n"
          << "RDNSLU 10.0.0.9 same_ip # trailing comment\n"
          << "rdnslu 10.0.0.8 named.test\n"
          << "rdnslu * sim_error\n"
          << "dnslu too many words here\n"
          << "other kind line\n"
          << "dnslu " << std::string(2100, 'x') << "\n";
    }
    std::string out;
    {
        cairn::testing::DebugScope debug(5, 0);
        cairn::testing::CaptureFd err(2);
        sim_rules_load_file(path);
        out = err.text();
    }
    EXPECT_EQ(sim_rules_count(), 4);
    EXPECT_NE(out.find("ox_inet_rdlr_load_config_file(): non-configuration line ... ignoring "
                       "'dnslu too many words here'\n"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("ignoring 'other kind line'"), std::string::npos);
    EXPECT_NE(out.find("' exceeds max 2049 characters ... ignoring excess characters\n"),
              std::string::npos);

    int rc = -1;
    EXPECT_TRUE(sim_forward("BAD.test", &rc));
    EXPECT_EQ(rc, EAI_FAIL);
    EXPECT_FALSE(sim_forward("good.test", &rc));

    char host[64];
    struct Row {
        const char *numeric;
        int flags;
        bool answers;
        int result;
        const char *host;
    } rows[] = {
        {"10.0.0.9", 0, true, 0, "10.0.0.9"},
        {"10.0.0.8", NI_NAMEREQD, true, 0, "named.test"},
        {"10.0.0.7", NI_NAMEREQD, true, EAI_NONAME, ""},
        {"10.0.0.7", 0, false, 0, ""},  // sim_error without NI_NAMEREQD asks the system
    };
    for (const Row &r : rows) {
        host[0] = '\0';
        rc = -1;
        EXPECT_EQ(sim_reverse(r.numeric, r.flags, host, sizeof host, &rc), r.answers) << r.numeric;
        if (r.answers) {
            EXPECT_EQ(rc, r.result) << r.numeric;
            EXPECT_STREQ(host, r.host) << r.numeric;
        }
    }

    // More rules than lines to hold: the room is the line count, at most 100.
    {
        std::ofstream f(path);
        for (int i = 0; i < 120; ++i)
            f << "dnslu h" << i << ".test sim_error\n";
    }
    {
        cairn::testing::DebugScope debug(5, 0);
        cairn::testing::CaptureFd err(2);
        sim_rules_load_file(path);
        out = err.text();
    }
    EXPECT_EQ(sim_rules_count(), 100);
    EXPECT_NE(out.find("line is above maximum number cached lines 100 allocated ... ignoring "
                       "'dnslu h100.test sim_error'"),
              std::string::npos);
    sim_rules_unload();
    EXPECT_EQ(sim_rules_count(), 0);
    unlink(path);
}

// A waiter joins the lookup in flight, says so, and waits for its outcome.
struct Waiter {
    KeyRecord key;
    std::atomic<int> joined{0};
    bool answered = false;
    int result = -1;
};

uint32_t wait_for_answer(void *p)
{
    auto *w = static_cast<Waiter *>(p);
    bool owner = true;
    Inflight *rec = inflight_join(w->key, &owner);
    if (owner || rec == nullptr)
        return 2;
    w->joined.store(1);
    addrinfo *out = nullptr;
    w->answered = inflight_wait(rec, &w->result, &out);
    return 0;
}

void until_joined(const Waiter &w)
{
    while (w.joined.load() == 0)
        std::this_thread::yield();
}

// Waiters on a lookup in flight: one cancelled while it waits, one whose
// resolving thread gives up (it starts over), one that takes the answer.
TEST(Inflight, WaitersCancelledAbandonedAndAnswered)
{
    KeyRecord key = fkey("w.test", nullptr);
    bool owner = false;
    Inflight *rec = inflight_join(key, &owner);
    ASSERT_NE(rec, nullptr);
    ASSERT_TRUE(owner);

    Waiter cancelled{key};
    ox_thread *t = ox_thread_new(wait_for_answer, &cancelled);
    ASSERT_EQ(ox_thread_start(t), 0);
    until_joined(cancelled);
    EXPECT_EQ(ox_thread_cancel(t), 0);
    uint32_t code = 0;
    EXPECT_EQ(ox_thread_join(t, &code), 0);
    EXPECT_EQ(code, 1u);  // ended in its wait, its hold given back
    ox_thread_destroy(t);

    Waiter abandoned{key};
    std::thread a([&] { wait_for_answer(&abandoned); });
    until_joined(abandoned);
    inflight_abandon(rec);
    a.join();
    EXPECT_FALSE(abandoned.answered);

    rec = inflight_join(key, &owner);  // the next asker resolves anew
    ASSERT_TRUE(owner);
    Waiter answered{key};
    std::thread b([&] { wait_for_answer(&answered); });
    until_joined(answered);
    inflight_finish(rec, EAI_NONAME, nullptr);
    b.join();
    EXPECT_TRUE(answered.answered);
    EXPECT_EQ(answered.result, EAI_NONAME);
}

// The resolver's tables cannot be made: the process ends by SIGTERM, for
// each of the three allocations that can fail first.
TEST(ResolverSetUp, FailureToMakeTheCachesRaisesSigterm)
{
    for (long nth : {1, 2, 3}) {
        auto child = cairn::testing::run_in_child([nth] {
            cairn::testing::alloc_fail_at(nth, true);
            addrinfo *res = nullptr;
            ox_getaddrinfo("localhost", nullptr, nullptr, &res);
        });
        EXPECT_EQ(child.signal, SIGTERM) << nth;
    }
}

}  // namespace
