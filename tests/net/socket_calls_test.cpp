// The socket calls over loopback, inside a namespace where the host's own
// name resolves: error rules, address adaptation, vectors, keep-alive,
// careful close and link-local connects; and the start-up, which needs the
// host's own name to resolve (or the process ends with status 1) and which
// the exit handler undoes.  (The ::1 check cannot fail here: the resolver
// names loopback addresses itself.)
#include <fcntl.h>
#include <linux/if_addr.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "child_exit.hpp"
#include "cairn/concurrency.h"
#include "net/socket_layer.hpp"
#include "socket_util.hpp"

namespace {

using cairn::testing::NetNamespace;
using cairn::testing::NetnsOptions;
using namespace sockets_test;

struct ErrorCase {
    const char *what;
    std::function<long()> call;
    int kind;
    uint32_t code;
    int expected_errno;  // -1: errno is left as it was
};

TEST(SocketCalls, FailuresFollowTheErrorRules)
{
    CAIRN_IN_NETNS(resolvable_host(), [](NetNamespace &) {
        int pipe_fds[2];
        ASSERT_EQ(pipe(pipe_fds), 0);
        int closed_port = ox_socket(AF_INET, SOCK_STREAM, 0);
        auto any = address("127.0.0.1", 0);
        ASSERT_EQ(ox_bind(closed_port, sa(any)), 0);
        auto refused = address("127.0.0.1", bound_port(closed_port));
        ox_closesocket(closed_port);
        char buf[8];
        socklen_t len = sizeof any;
        int tcp = ox_socket(AF_INET, SOCK_STREAM, 0);
        const ErrorCase cases[] = {
            {"send on -1", [&] { return ox_send(-1, "x", 1, 0); }, 4, 10038, ENOTSOCK},
            {"send on a pipe", [&] { return ox_send(pipe_fds[1], "x", 1, 0); }, 4, 10038, ENOTSOCK},
            {"listen on -1", [&] { return long{ox_listen(-1, 5)}; }, 4, 10038, ENOTSOCK},
            {"close -1", [&] { return long{ox_closesocket(-1)}; }, 4, 10038, ENOTSOCK},
            {"close a pipe", [&] { return long{ox_closesocket(pipe_fds[0])}; }, 4, 10038, ENOTSOCK},
            {"connect refused",
             [&] { return long{ox_connect(tcp, sa(refused), sizeof(sockaddr_in))}; }, 4, 10061,
             ECONNREFUSED},
            {"recv 0x80000000", [&] { return ox_recv(-1, buf, 0x80000000u, 0); }, 1, EINVAL,
             EINVAL},
            {"recvfrom 0x80000000",
             [&] { return ox_recvfrom(-1, buf, 0x80000000u, 0, nullptr, nullptr); }, 1, EINVAL,
             EINVAL},
            {"sendto 0x80000000", [&] { return ox_sendto(-1, buf, 0x80000000u, 0, sa(any)); }, 1,
             EINVAL, EINVAL},
            {"bind NULL", [&] { return long{ox_bind(tcp, nullptr)}; }, 1, EINVAL, EINVAL},
            {"sendv NULL", [&] { return ox_sendv(tcp, nullptr, 2); }, 1, EINVAL, EINVAL},
            {"getsockname NULL", [&] { return long{ox_getsockname(tcp, nullptr, &len)}; }, 1,
             EINVAL, -1},
            {"poll count 0", [&] { return long{ox_poll(nullptr, 0, 0)}; }, 1, EINVAL, -1},
            {"socketpair NULL",
             [&] { return long{ox_socketpair(AF_INET, SOCK_STREAM, 0, nullptr)}; }, 1, EINVAL,
             EINVAL},
            {"keepalive on a pipe",
             [&] { return long{ox_setsock_keepalive(pipe_fds[0], 10, 1)} - 1; }, 4, 10038,
             ENOTSOCK},
        };
        for (const auto &c : cases) {
            SCOPED_TRACE(c.what);
            ox_error_set_last(0, OX_ERRKIND_ERRNO);
            errno = EDOM;
            EXPECT_EQ(c.call(), -1);
            EXPECT_EQ(errno, c.expected_errno == -1 ? EDOM : c.expected_errno);
            EXPECT_EQ(last_error(), std::make_pair(c.kind, c.code));
        }
        EXPECT_EQ(ox_getsockfamily(pipe_fds[0]), 0);
        EXPECT_EQ(write(pipe_fds[1], "x", 1), 1) << "ox_closesocket left the pipe open";
        EXPECT_EQ(ox_getprotobyname(nullptr), nullptr);
        ASSERT_NE(ox_getprotobyname("tcp"), nullptr);
        ox_closesocket(tcp);
    });
}

TEST(SocketCalls, AddressesAreAdaptedToTheSocketsFamily)
{
    CAIRN_IN_NETNS(resolvable_host(), [](NetNamespace &) {
        int family = 0;
        int v6 = ox_socket_unspec(&family, SOCK_DGRAM, 0);
        ASSERT_GE(v6, 0);
        EXPECT_EQ(family, AF_INET6);
        EXPECT_EQ(ox_getsockfamily(v6), AF_INET6);
        EXPECT_EQ(fcntl(v6, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
        auto v4_loopback = address("127.0.0.1", 0);
        ASSERT_EQ(ox_bind(v6, sa(v4_loopback)), 0);
        sockaddr_in6 bound{};
        socklen_t len = sizeof bound;
        ASSERT_EQ(ox_getsockname(v6, reinterpret_cast<sockaddr *>(&bound), &len), 0);
        char text[INET6_ADDRSTRLEN];
        EXPECT_STREQ(inet_ntop(AF_INET6, &bound.sin6_addr, text, sizeof text), "::ffff:127.0.0.1");

        // An IPv4 socket sends to ::1, which it reaches as 127.0.0.1.
        int v4 = ox_socket(AF_INET, SOCK_DGRAM, 0);
        auto to_v6_socket = address("::1", bound_port(v6));
        EXPECT_EQ(ox_sendto(v4, "ping", 4, 0, sa(to_v6_socket)), 4);
        char buf[8] = "";
        EXPECT_EQ(ox_recv(v6, buf, sizeof buf, 0), 4);
        EXPECT_STREQ(buf, "ping");
        auto elsewhere = address("2001:db8::1", 9);
        EXPECT_EQ(ox_sendto(v4, "x", 1, 0, sa(elsewhere)), -1);
        EXPECT_EQ(last_error(), std::make_pair(4, 10022u));
        auto v6_any = address("::", 0);
        int v4_again = ox_socket(AF_INET, SOCK_DGRAM, 0);
        EXPECT_EQ(ox_bind(v4_again, sa(v6_any)), 0);
        for (int s : {v6, v4, v4_again})
            EXPECT_EQ(ox_closesocket(s), 0);
    });
}

// A connected TCP pair over loopback: {client, accepted}.
void tcp_pair(int pair[2])
{
    int listener = ox_socket(AF_INET6, SOCK_STREAM, 0);  // dual stack
    auto any = address("::", 0);
    ASSERT_EQ(ox_bind(listener, sa(any)), 0);
    ASSERT_EQ(ox_listen(listener, 1), 0);
    pair[0] = ox_socket(AF_INET, SOCK_STREAM, 0);
    auto to = address("::1", bound_port(listener));  // adapted to 127.0.0.1
    ASSERT_EQ(ox_connect(pair[0], sa(to), sizeof(sockaddr_in6)), 0);
    sockaddr_storage peer;
    memset(&peer, 0x55, sizeof peer);
    socklen_t len = sizeof peer;
    pair[1] = ox_accept(listener, reinterpret_cast<sockaddr *>(&peer), &len);
    ASSERT_GE(pair[1], 0);
    EXPECT_EQ(peer.ss_family, AF_INET6);
    EXPECT_EQ(reinterpret_cast<char *>(&peer)[sizeof peer - 1], 0) << "accept zeroes the buffer";
    ox_closesocket(listener);
}

TEST(SocketCalls, VectorsKeepAliveAndCarefulClose)
{
    CAIRN_IN_NETNS(resolvable_host(), [](NetNamespace &) {
        int pair[2];
        ASSERT_NO_FATAL_FAILURE(tcp_pair(pair));
        char a[] = "ab", b[] = "cd", c[] = "ef";
        const struct iovec out[3] = {{a, 2}, {b, 2}, {c, 2}};
        const struct {
            int count;
            ssize_t sent;
            const char *arrives;
        } rows[] = {{1, 2, "ab"}, {2, 4, "abcd"}, {3, 2, "ab"}};
        for (const auto &row : rows) {
            SCOPED_TRACE(row.count);
            ASSERT_EQ(ox_sendv(pair[0], out, row.count), row.sent);
            char x[4] = "", y[4] = "";
            const struct iovec in[3] = {{x, 2}, {y, 2}, {c, 2}};
            int got = 0;
            while (got < row.sent) {
                ssize_t n = ox_recvv(pair[1], in, row.count);
                ASSERT_GT(n, 0);
                got += static_cast<int>(n);
            }
            EXPECT_EQ(std::string(x) + y, row.arrives);
        }

        sockaddr_storage peer{};
        socklen_t peer_len = sizeof peer;
        EXPECT_EQ(ox_getpeername(pair[0], reinterpret_cast<sockaddr *>(&peer), &peer_len), 0);
        EXPECT_EQ(peer.ss_family, AF_INET);
        int local[2];
        ASSERT_EQ(ox_socketpair(AF_INET, SOCK_STREAM, 0, local), 0);
        EXPECT_EQ(ox_send(local[0], "hi", 2, 0), 2);
        EXPECT_EQ(ox_shutdown(local[0], SHUT_WR), 0);
        char two[4];
        EXPECT_EQ(ox_recvfrom(local[1], two, sizeof two, 0, nullptr, nullptr), 2);
        EXPECT_EQ(ox_recv(local[1], two, sizeof two, 0), 0);
        for (int s : local)
            EXPECT_EQ(ox_closesocket(s), 0);

        ASSERT_EQ(ox_setsock_keepalive(pair[0], 45, 7), 1);
        const struct {
            int level, name, value;
        } options[] = {{SOL_SOCKET, SO_KEEPALIVE, 1},
                       {IPPROTO_TCP, TCP_KEEPIDLE, 45},
                       {IPPROTO_TCP, TCP_KEEPINTVL, 7}};
        for (const auto &o : options) {
            int v = 0;
            socklen_t len = sizeof v;
            ASSERT_EQ(ox_getsockopt(pair[0], o.level, o.name, &v, &len), 0);
            EXPECT_EQ(v, o.value);
        }
        EXPECT_EQ(ox_setsock_keepalive(pair[0], 0, 7), 0);
        EXPECT_EQ(oxsononblock(pair[1]), 1);
        char buf[4];
        EXPECT_EQ(ox_recv(pair[1], buf, sizeof buf, 0), -1);
        EXPECT_EQ(last_error(), std::make_pair(4, 10035u));
        EXPECT_EQ(oxsoblock(pair[1]), 1);
        int nonblocking = 1;
        EXPECT_EQ(ox_ioctlsocket(pair[1], FIONBIO, &nonblocking), 0);
        EXPECT_EQ(ox_recv(pair[1], buf, sizeof buf, 0), -1);
        nonblocking = 0;
        EXPECT_EQ(ox_ioctlsocket(pair[1], FIONBIO, &nonblocking), 0);
        EXPECT_EQ(ox_ioctlsocket(-1, FIONBIO, &nonblocking), -1);

        // Unread data at a lingering close: the peer still reads an orderly
        // end, not a reset.
        linger l{1, 5};
        ASSERT_EQ(ox_setsockopt(pair[1], SOL_SOCKET, SO_LINGER, &l, sizeof l), 0);
        ASSERT_EQ(ox_send(pair[0], "unread", 6, 0), 6);
        EXPECT_EQ(ox_closesocket(pair[1]), 0);
        EXPECT_EQ(ox_recv(pair[0], buf, sizeof buf, 0), 0) << "errno " << errno;
        int reset = -1;
        socklen_t len = sizeof reset;
        ASSERT_EQ(ox_getsockopt(pair[0], SOL_SOCKET, SO_ERROR, &reset, &len), 0);
        EXPECT_EQ(reset, 0) << "the peer was reset";
        EXPECT_EQ(ox_closesocket(pair[0]), 0);
    });
}

// Whether lo's fe80::1 is missing or still tentative, as the namespace's
// address list tells.
bool link_local_tentative()
{
    std::ifstream list("/proc/net/if_inet6");
    std::string addr, name;
    unsigned index, prefix, scope, flags;
    while (list >> addr >> std::hex >> index >> prefix >> scope >> flags >> name)
        if (addr == "fe800000000000000000000000000001" && name == "lo")
            return (flags & IFA_F_TENTATIVE) != 0;
    return true;
}

// Give lo the link-local address fe80::1 (before the first ox_socket(),
// which takes the interface list).
void add_link_local_to_lo()
{
    struct {
        in6_addr addr;
        uint32_t prefix_len;
        int ifindex;
    } req{};
    inet_pton(AF_INET6, "fe80::1", &req.addr);
    req.prefix_len = 64;
    req.ifindex = static_cast<int>(if_nametoindex("lo"));
    int fd = socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(ioctl(fd, SIOCSIFADDR, &req), 0) << strerror(errno);
    close(fd);
    // A new address is tentative until the kernel's address work has run,
    // even on lo, where no duplicate detection is done; binding to it fails
    // until then, later the more loaded the machine.
    auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (link_local_tentative()) {
        ASSERT_LT(std::chrono::steady_clock::now(), limit) << "fe80::1 stayed tentative";
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

TEST(SocketCalls, LinkLocalConnectFindsTheInterface)
{
    CAIRN_IN_NETNS(resolvable_host(), [](NetNamespace &) {
        ASSERT_NO_FATAL_FAILURE(add_link_local_to_lo());
        int listener = ox_socket(AF_INET6, SOCK_STREAM, 0);
        auto local = address("fe80::1", 0);
        reinterpret_cast<sockaddr_in6 &>(local).sin6_scope_id = if_nametoindex("lo");
        ASSERT_EQ(ox_bind(listener, sa(local)), 0) << strerror(errno);
        ASSERT_EQ(ox_listen(listener, 1), 0);
        int client = ox_socket(AF_INET6, SOCK_STREAM, 0);
        auto unscoped = address("fe80::1", bound_port(listener));
        EXPECT_EQ(ox_connect(client, sa(unscoped), sizeof(sockaddr_in6)), 0);
        int other = ox_socket(AF_INET6, SOCK_STREAM, 0);
        auto nobody = address("fe80::1", 1);
        EXPECT_EQ(ox_connect(other, sa(nobody), sizeof(sockaddr_in6)), -1);
        EXPECT_EQ(last_error(), std::make_pair(4, 10061u));
        for (int s : {listener, client, other})
            ox_closesocket(s);
    });
}

// In a namespace set up by `o`, a program's first ox_socket() ends with
// `status`, writing `err` and `out`.
void expect_first_socket(const NetnsOptions &o, int status, const char *err, const char *out)
{
    CAIRN_IN_NETNS(o, [&](NetNamespace &) {
        auto child = cairn::testing::run_in_child([] {
            ox_set_progname("probe");
            int s = ox_socket(AF_INET, SOCK_STREAM, 0);
            printf("socket %d host %s\n", s >= 0, cairn::socket_local_host_name());
        });
        EXPECT_TRUE(child.exited);
        EXPECT_EQ(child.exit_code, status);
        EXPECT_EQ(child.err, err);
        EXPECT_EQ(child.out, out);
    });
}

TEST(SocketStartup, OwnNameMustResolve)
{
    NetnsOptions unknown = resolvable_host();
    unknown.hostname = "NoSuchHost";
    NetnsOptions fine = resolvable_host();
    fine.hostname = "SockHost";
    const struct {
        const NetnsOptions *options;
        int status;
        const char *err;
        const char *out;
    } rows[] = {
        {&unknown, 1,
         "probe: Failed to resolve hostname nosuchhost to an internet address. Please verify a "
         "mapping for nosuchhost exists in the hosts file or DNS.\n",
         ""},
        {&fine, 0, "", "socket 1 host sockhost.example.test\n"},
    };
    for (const auto &row : rows)
        expect_first_socket(*row.options, row.status, row.err, row.out);
}

TEST(SocketStartup, ExitHandlerStopsTheLayerUnlessDeferred)
{
    CAIRN_IN_NETNS(resolvable_host(), [](NetNamespace &) {
        for (int defer = 0; defer < 2; ++defer) {
            auto child = cairn::testing::run_in_child([defer] {
                int s = ox_socket(AF_INET, SOCK_STREAM, 0);
                int ok = s >= 0 && cairn::socket_layer_running();
                if (defer)
                    ox_defer_wsa_cleanup();
                ox_closesocket(s);
                ox_atexit_execute_and_remove_all();
                ok = ok && cairn::socket_layer_running() == (defer == 1);
                s = ox_socket(AF_INET, SOCK_STREAM, 0);  // starts again
                ok = ok && s >= 0 && cairn::socket_layer_running();
                cairn::testing::child_exit(ok ? 0 : 1);
            });
            EXPECT_EQ(child.exit_code, 0) << "defer " << defer << child.err;
        }
    });
}

}  // namespace
