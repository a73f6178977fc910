// A connected stream pair.  Linux has a native one, so the pair is a local
// stream pair rather than two TCP sockets joined over the loopback
// interface: the same connected, bidirectional byte stream, without a
// listening port that another process could reach first.
#include <sys/socket.h>

#include "cairn/net.h"
#include "net/socket_errors.hpp"
#include "net/socket_layer.hpp"

using namespace cairn;

extern "C" CAIRN_API int ox_socketpair(int /*family*/, int /*type*/, int /*protocol*/, int pair[2])
{
    if (pair == nullptr) {
        record_einval();
        return -1;
    }
    ensure_socket_layer();
    return socket_result(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair));
}
