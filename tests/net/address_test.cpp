// Internet addresses without name resolution: fields, tests, comparison,
// masks and the printed forms, checked as data tables written by hand.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netdb.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>

#include "cairn/frame.h"
#include "cairn/net.h"
#include "socket_util.hpp"

namespace {

using namespace sockets_test;

std::string ntop(const sockaddr_storage &ss)
{
    char buf[64];
    const char *t = ox_inet_ntop(sa(ss), buf, sizeof buf);
    return t ? t : "(null)";
}

bool last_is_einval()
{
    int kind = 0;
    return ox_error_get_last_native(&kind) == EINVAL && kind == OX_ERRKIND_ERRNO;
}

TEST(Address, FieldsFamiliesAndSetters)
{
    EXPECT_EQ(ox_inet_getaf("fe80::1"), AF_INET6);
    EXPECT_EQ(ox_inet_getaf("10.0.0.1"), AF_INET);
    EXPECT_EQ(ox_inet_getaf("localhost"), 0);

    sockaddr_storage a4 = address("10.1.2.3", 80), a6 = address("::1", 443), none{};
    EXPECT_EQ(ox_inet_getlen(sa(a4)), 16);
    EXPECT_EQ(ox_inet_getlen(sa(a6)), 28);
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(ox_inet_getlen(sa(none)), 16);
    EXPECT_TRUE(last_is_einval());
    EXPECT_EQ(ox_inet_isafinet(sa(a6)), 1);
    EXPECT_EQ(ox_inet_isafinet(sa(none)), 0);

    EXPECT_EQ(ox_inet_getport(sa(a4)), htons(80));
    ox_inet_setport(sa(a6), htons(8080));
    EXPECT_EQ(ox_inet_getport(sa(a6)), htons(8080));
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(ox_inet_getport(sa(none)), 0);
    EXPECT_TRUE(last_is_einval());

    unsigned char raw[16] = {};
    EXPECT_EQ(ox_inet_getaddr(sa(a4), raw, 2), 0);  // bounded by the buffer
    EXPECT_EQ(raw[0], 10);
    EXPECT_EQ(raw[1], 1);
    EXPECT_EQ(raw[2], 0);
    EXPECT_EQ(ox_inet_getaddr(sa(a6), raw, 16), 0);
    EXPECT_EQ(raw[15], 1);
    EXPECT_EQ(ox_inet_getaddr(sa(none), raw, 16), -1);
    EXPECT_EQ(errno, EINVAL);

    EXPECT_EQ(ox_inet_setunixaddr(sa(none), "/tmp/x"), -1);
    EXPECT_EQ(ox_error_get_last_native(nullptr), static_cast<uint32_t>(ENOSYS));

    // The wildcard and loopback setters keep the port.
    sockaddr_storage b6 = address("fe80::1", 9);
    ox_inet_setloopback(sa(a4));
    EXPECT_EQ(ntop(a4), "127.0.0.1");
    EXPECT_EQ(ox_inet_getport(sa(a4)), htons(80));
    ox_inet_setanyaddr(sa(b6));
    EXPECT_EQ(ntop(b6), "::");
    EXPECT_EQ(ox_inet_isanyaddr(sa(b6)), 1);

    // A zeroed structure takes the host's natural family.
    sockaddr_storage z{};
    ox_inet_setanyaddr(sa(z));
    int f = reinterpret_cast<sockaddr *>(&z)->sa_family;
    EXPECT_TRUE(f == AF_INET || f == AF_INET6);
    EXPECT_EQ(ox_inet_isanyaddr(sa(z)), 1);
}

TEST(Address, LoopbackTests)
{
    const std::tuple<const char *, int, int> rows[] = {
        {"127.0.0.1", 1, 0},
        {"127.255.0.1", 1, 0},
        {"128.0.0.1", 0, 0},
        {"::1", 1, 0},
        {"::2", 0, 0},
        {"::ffff:127.0.0.1", 1, 0},
        {"::ffff:10.0.0.1", 0, 0},
        {"0.0.0.0", 0, 1},
        {"::", 0, 1},
    };
    for (auto [text, loopback, any] : rows) {
        sockaddr_storage a = address(text);
        EXPECT_EQ(ox_inet_isloopback(sa(a)), loopback) << text;
        EXPECT_EQ(ox_inet_isanyaddr(sa(a)), any) << text;
    }
    for (const char *n : {"localhost", "LOCALHOST6", "loopback", "localhost.localdomain",
                          "localhost6.localdomain6", "ip6-localhost", "Ip6-Loopback"})
        EXPECT_EQ(ox_inet_isloopback_name(n), 1) << n;
    EXPECT_EQ(ox_inet_isloopback_name("localhostx"), 0);
    EXPECT_EQ(ox_inet_isloopback_name(nullptr), 0);
}

TEST(Address, EqualityAndMaskedOrdering)
{
    const std::tuple<const char *, uint16_t, const char *, uint16_t, int> equal[] = {
        {"10.1.2.3", 80, "::ffff:10.1.2.3", 443, 0},
        {"10.1.2.3", 80, "10.1.2.4", 80, -1},
        {"fe80::1", 1, "fe80::1", 2, 0},
        {"::1", 0, "127.0.0.1", 0, -1},
        {"2001:db8::1", 0, "2001:db8::2", 0, -1},
    };
    for (auto [ta, pa, tb, pb, want] : equal) {
        sockaddr_storage a = address(ta, pa), b = address(tb, pb);
        EXPECT_EQ(ox_inet_addrcmp(sa(a), sa(b)), want) << ta << " " << tb;
    }
    sockaddr_storage one = address("10.0.0.1"), zero{};
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(ox_inet_addrcmp(sa(one), sa(zero)), -1);
    EXPECT_TRUE(last_is_einval());
    // Scope identifiers are not compared.
    sockaddr_storage s2 = address("fe80::1"), s3 = address("fe80::1");
    reinterpret_cast<sockaddr_in6 *>(&s2)->sin6_scope_id = 2;
    reinterpret_cast<sockaddr_in6 *>(&s3)->sin6_scope_id = 3;
    EXPECT_EQ(ox_inet_addrcmp(sa(s2), sa(s3)), 0);

    const std::tuple<const char *, const char *, const char *, int> masked[] = {
        {"10.1.2.3", "10.1.9.9", "255.255.0.0", 0},
        {"10.1.2.3", "10.1.9.9", "255.255.255.0", -1},
        {"10.1.9.9", "10.1.2.3", "255.255.255.0", 1},
        {"10.1.2.3", "192.168.1.1", "0.0.0.0", 0},
        // An IPv4 mask covers the last 32 bits, whatever the families.
        {"10.1.2.3", "2001:db8::a01:203", "255.255.255.255", 0},
        {"2001:db8::1", "2001:db9::1", "ffff:ffff::", -1},
        {"2001:db8::1", "2001:db8::2", "ffff:ffff::", 0},
    };
    for (auto [ta, tb, mask, want] : masked) {
        sockaddr_storage a = address(ta), b = address(tb), m = address(mask);
        EXPECT_EQ(ox_inet_addrcmp_netmask(sa(a), sa(b), sa(m)), want)
            << ta << " " << tb << " " << mask;
    }
    sockaddr_storage a = address("10.1.2.3"), b = address("10.1.9.9"),
                     v6a = address("2001:db8::a01:203");
    EXPECT_EQ(ox_inet_addrcmp_prefix(sa(a), sa(b), 16), 0);
    EXPECT_EQ(ox_inet_addrcmp_prefix(sa(a), sa(b), 24), -1);
    EXPECT_EQ(ox_inet_addrcmp_prefix(sa(a), sa(v6a), 32), 0);  // IPv4 prefix on IPv6
    EXPECT_EQ(ox_inet_addrcmp_prefix(sa(a), sa(b), 129), -1);
}

TEST(Address, MasksFromAndToPrefixes)
{
    const std::tuple<int, unsigned, const char *> rows[] = {
        {AF_INET, 0, "0.0.0.0"},
        {AF_INET, 24, "255.255.255.0"},
        {AF_INET, 32, "255.255.255.255"},
        {AF_INET, 33, "128.0.0.0"},
        {AF_INET, 40, "255.0.0.0"},
        {AF_INET6, 64, "ffff:ffff:ffff:ffff::"},
        {AF_INET6, 60, "ffff:ffff:ffff:fff0::"},
        {AF_INET6, 128, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
    };
    for (auto [family, prefix, mask] : rows) {
        sockaddr_storage m{};
        ASSERT_EQ(ox_inet_netmask_from_prefix(family, prefix, sa(m)), 0);
        EXPECT_EQ(ntop(m), mask) << prefix;
    }
    sockaddr_storage m{};
    EXPECT_EQ(ox_inet_netmask_from_prefix(AF_INET, 129, sa(m)), -1);
    EXPECT_TRUE(last_is_einval());
    EXPECT_EQ(ox_inet_netmask_from_prefix(AF_UNIX, 8, sa(m)), 0);
    EXPECT_EQ(reinterpret_cast<sockaddr *>(&m)->sa_family, 0);  // nothing written

    const std::pair<const char *, int> counts[] = {
        {"255.255.255.0", 24},
        {"255.255.255.255", 32},
        {"0.0.0.0", 0},
        {"255.255.255.254", 31},
        {"127.255.255.255", 32},  // 0x7FFFFFFF counts as a one
        {"ffff:ffff:ffff:ffff::", 64},
        {"ffff:ffff:ffff:fff0::", 36},
        {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 128},
    };
    for (auto [mask, want] : counts) {
        sockaddr_storage a = address(mask);
        EXPECT_EQ(ox_inet_prefix_from_netmask(sa(a)), want) << mask;
    }
    sockaddr_storage none{};
    EXPECT_EQ(ox_inet_prefix_from_netmask(sa(none)), 0);
}

TEST(Address, PrintedForms)
{
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"10.0.0.1", "10.0.0.1", "0a000001"},
        {"::1", "::1", "0001"},
        {"fe80::1", "fe80::0:0:0:1", "fe800000001"},  // link-local: prefix and last groups
        {"::ffff:192.0.2.7", "192.0.2.7", "00ffffc0000207"},
        {"::ffff:0:0", "0.0.0.0", "00ffff0"},  // mapped: looked up as IPv4
    };
    for (auto [in, text, hex] : rows) {
        sockaddr_storage a = address(in);
        char out[64] = "untouched";
        EXPECT_EQ(ntop(a), text) << in;
        EXPECT_STREQ(ox_inet_addrtohex(sa(a), out, sizeof out), hex) << in;
    }
    sockaddr_storage none{};
    char buf[16] = "untouched";
    EXPECT_STREQ(ox_inet_addrtohex(sa(none), buf, sizeof buf), "untouched");
    EXPECT_EQ(ox_inet_ntop(sa(none), buf, sizeof buf), nullptr);
    int kind = 0;
    EXPECT_EQ(ox_error_get_last_native(&kind), static_cast<uint32_t>(EAI_FAMILY));
    EXPECT_EQ(kind, OX_ERRKIND_RESOLVER);
    char tiny[4];
    sockaddr_storage a = address("10.9.9.9");
    EXPECT_EQ(ox_inet_ntop(sa(a), tiny, sizeof tiny), nullptr);  // does not fit
}

TEST(Address, ParsingTexts)
{
    const std::tuple<const char *, int, const char *> rows[] = {
        {"10.1.2.3", 1, "10.1.2.3"},       {"::", 1, "::"},      {"0.0.0.0", 1, "0.0.0.0"},
        {"2001:db8::1", 1, "2001:db8::1"}, {"1.2.3.4.5", 0, ""}, {"::g", 0, ""},
    };
    for (auto [text, ok, printed] : rows) {
        sockaddr_storage a{};
        EXPECT_EQ(ox_inet_pton(text, sa(a)), ok ? 0 : -1) << text;
        EXPECT_EQ(ox_inet_isvalidaddr(text), ok) << text;
        if (ok) {
            EXPECT_EQ(ntop(a), printed);
        }
    }
    sockaddr_storage a{};
    EXPECT_EQ(ox_inet_pton("localhost", sa(a)), -1);
    EXPECT_TRUE(last_is_einval());
    EXPECT_EQ(ox_inet_pton(nullptr, sa(a)), -1);

    EXPECT_EQ(ox_inet_isvalidipv6addr("::1", 0), 1);
    EXPECT_EQ(ox_inet_isvalidipv6addr("::1", 2), 0);
    EXPECT_EQ(ox_inet_isvalidipv6addr("10.0.0.1", 0), 0);

    const std::pair<const char *, int> heads[] = {
        {"fe80::1:/tmp", 7}, {"fe80::1", 0}, {"fe80::1_rest", 7},       {"::1:C:\\dir", 3},
        {"a_b:c", 0},        {"nocolon", 0}, {"2001:db8::5:0_x_y", 13},
    };
    for (auto [text, len] : heads)
        EXPECT_EQ(ox_inet_parseipv6addr(text), len) << text;
}

TEST(Address, InterfaceList)
{
    ox_ifaddress *list = nullptr;
    ASSERT_EQ(ox_get_ifaddresses(&list), 0);
    bool loopback = false;
    for (const ox_ifaddress *i = list; i; i = i->next) {
        ASSERT_EQ(ox_inet_isafinet(i->addr), 1);
        EXPECT_GT(i->index, 0u) << i->name;
        EXPECT_EQ(ox_is_myaddress(i->addr), 1) << i->name;
        loopback = loopback || ox_inet_isloopback(i->addr);
    }
    EXPECT_TRUE(loopback);  // every Linux host has lo
    ox_free_ifaddresses(list);
    ox_free_ifaddresses(nullptr);
    EXPECT_EQ(ox_get_ifaddresses(nullptr), -1);

    sockaddr_storage doc = address("192.0.2.200"), lo = address("127.0.0.9");
    EXPECT_EQ(ox_is_myaddress(sa(doc)), 0);
    EXPECT_EQ(ox_inet_islocaladdr(sa(doc)), 0);
    EXPECT_EQ(ox_inet_islocaladdr(sa(lo)), 1);  // any loopback is local
    EXPECT_EQ(ox_inet_islocaladdr(sa(lo)), 1);  // now remembered
    EXPECT_EQ(ox_inet_islocaladdr(nullptr), 0);
}

}  // namespace
