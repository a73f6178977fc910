// Keep-alive and blocking mode.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>

#include "cairn/net.h"
#include "diagnostics/debug_line.hpp"
#include "net/socket_errors.hpp"

namespace {

// The reference platform takes keep-alive times in milliseconds; Linux
// takes whole seconds per socket (TCP_KEEPIDLE, TCP_KEEPINTVL), which is
// what the caller gives: the values pass unchanged.
bool set_keepalive(int s, int idle_s, int interval_s)
{
    if (idle_s <= 0 || interval_s <= 0) {
        cairn::record_einval();
        return false;
    }
    int on = 1;
    return ox_setsockopt(s, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on) == 0 &&
           ox_setsockopt(s, IPPROTO_TCP, TCP_KEEPIDLE, &idle_s, sizeof idle_s) == 0 &&
           ox_setsockopt(s, IPPROTO_TCP, TCP_KEEPINTVL, &interval_s, sizeof interval_s) == 0;
}

int set_blocking(int s, int nonblocking)
{
    return ox_ioctlsocket(s, FIONBIO, &nonblocking) == 0 ? 1 : 0;
}

}  // namespace

extern "C" {

CAIRN_API int ox_setsock_keepalive(int s, int idle_s, int interval_s)
{
    if (set_keepalive(s, idle_s, interval_s))
        return 1;
    CAIRN_DEBUG(1, 1, "Unable to set the socket keepalive parameters on Windows.\n");
    return 0;
}

CAIRN_API int oxsoblock(int s) { return set_blocking(s, 0); }

CAIRN_API int oxsononblock(int s) { return set_blocking(s, 1); }

}  // extern "C"
