// Socket start-up: the host must resolve its own name, or the process ends
// with status 1; the exit handler undoes the start-up.  (The ::1 check
// cannot fail here: the resolver names loopback addresses itself.)
#include <netdb.h>
#include <unistd.h>

#include <string>

#include "cairn/concurrency.h"
#include "net/socket_layer.hpp"
#include "socket_util.hpp"

namespace {

using cairn::testing::NetNamespace;
using cairn::testing::NetnsOptions;
using namespace sockets_test;

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
                _exit(ok ? 0 : 1);
            });
            EXPECT_EQ(child.exit_code, 0) << "defer " << defer << child.err;
        }
    });
}

}  // namespace
