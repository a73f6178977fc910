#include "net/socket_layer.hpp"

#include <atomic>

#include "cairn/concurrency.h"
#include "cairn/net.h"
#include "frame/exit_cleanup.hpp"
#include "net/own_host.hpp"
#include "platform/alloc.hpp"

namespace cairn {
namespace {

constexpr size_t kHostNameSize = 256;

ox_once_t g_layer_once = OX_ONCE_INIT;
// Written once under the once-guard, read afterwards.
char g_host_name[kHostNameSize];
unsigned *g_interfaces = nullptr;
size_t g_interface_count = 0;
std::atomic<bool> g_running{false};
std::atomic<bool> g_cleanup_deferred{false};

void stop_socket_layer()
{
    mem_free(g_interfaces);
    g_interfaces = nullptr;
    g_interface_count = 0;
    ox_once_reset(&g_layer_once);
    // Linux has no socket layer to stop; what stops is the library's own
    // view of it, unless a caller asked to keep it for later exit handlers.
    if (!g_cleanup_deferred.load(std::memory_order_acquire))
        g_running.store(false, std::memory_order_release);
}

void start_socket_layer()
{
    g_running.store(true, std::memory_order_release);
    check_own_host_name(g_host_name, sizeof g_host_name);
    bool ipv6_loopback = false;
    g_interfaces = take_interface_indexes(&g_interface_count, &ipv6_loopback);
    check_ipv6_loopback_name(ipv6_loopback);
    register_exit_cleanup(stop_socket_layer);
}

}  // namespace

void ensure_socket_layer() { ox_once(&g_layer_once, start_socket_layer); }

const unsigned *socket_interface_indexes(size_t *count)
{
    *count = g_interface_count;
    return g_interfaces;
}

const char *socket_local_host_name() { return g_host_name; }

bool socket_layer_running() { return g_running.load(std::memory_order_acquire); }

}  // namespace cairn

extern "C" CAIRN_API void ox_defer_wsa_cleanup(void)
{
    cairn::g_cleanup_deferred.store(true, std::memory_order_release);
}
