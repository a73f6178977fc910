// The resolver's cache keys and simulation rules, without any lookup.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netdb.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <atomic>
#include <string>
#include <thread>

#include "capture_fd.hpp"
#include "child_process.hpp"
#include "platform/alloc_testing.hpp"
#include "cairn/containers.h"
#include "cairn/net.h"
#include "debug_scope.hpp"
#include "cairn/concurrency.h"
#include "net/inflight.hpp"
#include "net/resolver_key.hpp"
#include "net/sim_rules.hpp"
#include "socket_util.hpp"

using namespace cairn::net;

namespace {

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
