// Closing a socket.  A lingering socket is shut down for sending and its
// unread data drained first, so that the peer reads an orderly end rather
// than a reset.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "cairn/net.h"
#include "net/socket_errors.hpp"
#include "platform/descriptor_wait.hpp"
#include "platform/futex.hpp"
#include "platform/thread_record.hpp"

using namespace cairn;

namespace {

constexpr int kDrainWaitMs = 1000;
constexpr size_t kDrainChunk = 2048;

// Whether the socket lingers; false with the error recorded when `s` is
// not a socket (it is then left open).
bool read_linger(int s, bool &lingers)
{
    linger l{};
    socklen_t len = sizeof l;
    if (socket_result(getsockopt(s, SOL_SOCKET, SO_LINGER, &l, &len)) != 0)
        return false;
    lingers = l.l_onoff != 0 && l.l_linger > 0;
    return true;
}

void close_on_thread_end(void *s) { close(static_cast<int>(reinterpret_cast<intptr_t>(s))); }

// Read until the peer's end, an error, or a second without data.  The
// waits are the library's (queued calls and timers run); a thread ended
// inside one still closes the socket.
void drain(int s)
{
    UnwindOnEnd closes(close_on_thread_end, reinterpret_cast<void *>(static_cast<intptr_t>(s)));
    char chunk[kDrainChunk];
    for (;;) {
        pollfd entry[2] = {{s, POLLIN, 0}, {}};
        int ready = descriptor_wait(entry, 1, deadline_after_ms(kDrainWaitMs), nullptr);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready != 1 || recv(s, chunk, sizeof chunk, MSG_DONTWAIT) <= 0)
            return;
    }
}

}  // namespace

// Linux releases the descriptor whatever close() reports, so a failed close
// is never retried: a retry could close a descriptor that another thread
// has opened in the meantime under the same number.
extern "C" CAIRN_API int ox_closesocket(int s)
{
    if (s == -1) {
        record_winsock(kWsaNotSocket);
        return -1;
    }
    bool lingers = false;
    if (!read_linger(s, lingers))
        return -1;
    if (lingers) {
        shutdown(s, SHUT_WR);
        int saved = errno;
        drain(s);
        errno = saved;
    }
    return socket_result(close(s));
}
