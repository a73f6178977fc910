#include "messages/msg_identity.hpp"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "frame/environment.hpp"

namespace cairn {
namespace {

MsgIdentity g_identity;
std::atomic<bool> g_recorded{false};
ox_once_t g_first_use;
std::atomic<bool> g_number_switch{false};

// The canonical name of this host in lower case, or "unknown".
void find_host_name(char *buf, std::size_t size)
{
    std::snprintf(buf, size, "%s", "unknown");
    char local[256];
    if (gethostname(local, sizeof local) != 0)
        return;
    local[sizeof local - 1] = '\0';
    struct addrinfo hints;
    std::memset(&hints, 0, sizeof hints);
    hints.ai_flags = AI_CANONNAME;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    struct addrinfo *found = nullptr;
    if (getaddrinfo(local, nullptr, &hints, &found) != 0 || found == nullptr)
        return;
    if (found->ai_canonname != nullptr) {
        std::snprintf(buf, size, "%s", found->ai_canonname);
        for (char *p = buf; *p; ++p)
            *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
    }
    freeaddrinfo(found);
}

void first_use()
{
    // The sockets library needs no start-up here.
    if (ox_get_progname(g_identity.progname, sizeof g_identity.progname) == nullptr)
        g_identity.progname[0] = '\0';
    g_identity.pid = static_cast<int>(getpid());
    find_host_name(g_identity.host, sizeof g_identity.host);
    if (environment_has("BXR_FORCE_MSG_ID"))
        g_number_switch.store(true, std::memory_order_relaxed);
    g_recorded.store(true, std::memory_order_release);
}

}  // namespace

const MsgIdentity &msg_identity()
{
    if (!g_recorded.load(std::memory_order_acquire))
        ox_once(&g_first_use, first_use);
    return g_identity;
}

const MsgIdentity *msg_identity_recorded()
{
    return g_recorded.load(std::memory_order_acquire) ? &g_identity : nullptr;
}

bool msg_number_switch() { return g_number_switch.load(std::memory_order_relaxed); }

void set_msg_number_switch(bool on) { g_number_switch.store(on, std::memory_order_relaxed); }

}  // namespace cairn
