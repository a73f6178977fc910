// The operator variables, set from outside by a debugging facility and
// polled by dns_check_dbg_op(): flush the caches, print them.
#include <arpa/inet.h>
#include <netdb.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"
#include "cairn/net.h"
#include "concurrency/internal_lock.hpp"
#include "diagnostics/debug_settings.hpp"
#include "net/addrinfo_chain.hpp"
#include "net/address.hpp"
#include "net/host_caches.hpp"
#include "net/resolver_key.hpp"
#include "net/resolver_state.hpp"

using namespace cairn::net;

namespace {

constexpr uint32_t kSeverity = 50000;

void post(const std::string &line)
{
    msg_print(0, kSeverity, MSG_TO_STDOUT, "%s", MSG_ARG_TEXT, line.c_str());
}

std::string numeric(const sockaddr *a)
{
    char text[INET6_ADDRSTRLEN] = "";
    if (a != nullptr && family_of(a) == AF_INET)
        inet_ntop(AF_INET, &v4(a)->sin_addr, text, sizeof text);
    else if (a != nullptr && family_of(a) == AF_INET6)
        inet_ntop(AF_INET6, &v6(a)->sin6_addr, text, sizeof text);
    return text;
}

const char *family_name(int f)
{
    return f == AF_INET ? "inet" : f == AF_INET6 ? "inet6" : "unspec";
}
const char *protocol_name(int p)
{
    return p == IPPROTO_TCP ? "tcp" : p == IPPROTO_UDP ? "udp" : "unspec";
}

std::string printed(const char *form, ...) __attribute__((format(printf, 1, 2)));
std::string printed(const char *form, ...)
{
    char line[1400];
    va_list ap;
    va_start(ap, form);
    std::vsnprintf(line, sizeof line, form, ap);
    va_end(ap);
    return line;
}

// Lines are gathered under the table's lock and posted after it.
void forward_lines(void *data, std::vector<std::string> &out)
{
    const auto *e = static_cast<const ForwardEntry *>(data);
    const KeyRecord *k = &e->key;
    if (is_negative(e->chain))
        return;
    for (const addrinfo *n = e->chain; n; n = n->ai_next)
        out.push_back(
            printed("hostname: %s, address: %s, ai_flags: 0x%04x, family: %s, protocol: %s\n",
                    k->host, numeric(n->ai_addr).c_str(), n->ai_flags, family_name(n->ai_family),
                    protocol_name(n->ai_protocol)));
}

void reverse_line(void *data, std::vector<std::string> &out)
{
    const auto *r = static_cast<const KeyRecord *>(data);
    out.push_back(printed("hostname: %s, service: %s, address: %s, ni_flags 0x%04x\n", r->host,
                          r->service, numeric(reinterpret_cast<const sockaddr *>(&r->addr)).c_str(),
                          r->ni_flags));
}

std::vector<std::string> level1_lines()
{
    std::vector<std::string> lines;
    const ResolverCaches *c = resolver_if_made();
    if (c == nullptr)
        return lines;
    ox_table_foreach(
        c->forward,
        [](void *d, void *arg) { forward_lines(d, *static_cast<std::vector<std::string> *>(arg)); },
        &lines);
    ox_table_foreach(
        c->reverse,
        [](void *d, void *arg) { reverse_line(d, *static_cast<std::vector<std::string> *>(arg)); },
        &lines);
    return lines;
}

void print_clients(bool inactive)
{
    std::vector<std::string> clients = client_cache_lines(inactive);
    post(printed("Size: %d clients:\n", static_cast<int>(clients.size())));
    for (const std::string &c : clients)
        post(c + "\n");
}

void print_caches()
{
    post("DNS (level I) cache:\n");
    for (const std::string &line : level1_lines())
        post(line);
    post("DNS (level II) cache:\n");
    std::vector<std::string> hosts = host_cache_lines();
    post(printed("Size: %d hosts:\n", static_cast<int>(hosts.size())));
    for (const std::string &h : hosts)
        post(h + "\n");
    post("Clients cache:\n");
    print_clients(false);
}

}  // namespace

extern "C" void dns_check_dbg_op(void)
{
    {
        cairn::InternalLock hold(host_cache_mutex());
        if (FlushDnsCache > 0) {
            ox_inet_cache_flush();
            host_caches_flush();
        }
        if (PrintDnsCache > 0)
            print_caches();
    }
    if (cairn::g_print_inactive_clients > 0) {
        post("Inactive Client's cache: (Clients in Retired or Decommissioned state)\n");
        print_clients(true);
    }
    FlushDnsCache = 0;
    PrintDnsCache = 0;
    cairn::g_print_inactive_clients = 0;
}
