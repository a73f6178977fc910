// How the socket calls report failures: the thread's last error as a
// Winsock code (kind 4) with errno mirrored from it.
#pragma once

#include <cerrno>
#include <cstdint>

namespace cairn {

// Winsock codes the socket layer produces itself.
constexpr uint32_t kWsaInterrupted = 10004;  // WSAEINTR
constexpr uint32_t kWsaNotSocket = 10038;    // WSAENOTSOCK

// The Winsock code for a Linux errno value a socket call gave, 0 if none.
uint32_t winsock_from_socket_errno(int err);

// Record errno value `err` of a failed socket call: kind 4 with its Winsock
// code and errno from that code's portable code; an errno without a
// Winsock counterpart is kept as kind 1 (errno).  errno ends as the
// recorded value.
void record_socket_errno(int err);

// Record a Winsock code the library produces itself, errno mirrored.
void record_winsock(uint32_t wsa);

// The argument checks' failure: errno-kind EINVAL, which also sets errno.
// `set_errno` false leaves errno as it was.
void record_einval(bool set_errno = true);

// The largest length a receive or a send to an address accepts.
constexpr uint64_t kMaxSocketLength = 0x7FFFFFFF;

}  // namespace cairn

namespace cairn {

// A system call's result, recording errno when it failed (negative).
template <typename T>
T socket_result(T result)
{
    if (result < 0)
        record_socket_errno(errno);
    return result;
}

}  // namespace cairn
