// Socket failures on Linux become the Winsock codes the reference platform
// would report for them, so that callers see one set of codes: the
// networking errno values through the frame's errno-to-Winsock table, and
// the general ones that socket calls give on Linux through the few rows
// below.
#include "net/socket_errors.hpp"

#include <cerrno>

#include "cairn/frame.h"
#include "frame/error_mapping.hpp"

namespace cairn {
namespace {

struct ErrnoWsa {
    int err;
    uint32_t wsa;
};

// General errno values a socket call gives on Linux, with the code the
// reference platform reports in the same situation.  A closed or foreign
// descriptor is "not a socket" there; a write to a connection the peer
// has closed is a reset; memory shortage is the stack's buffer shortage.
constexpr ErrnoWsa kGeneralErrnos[] = {
    {EINTR, 10004},  {EBADF, 10038},  {EACCES, 10013}, {EPERM, 10013},
    {EFAULT, 10014}, {EINVAL, 10022}, {EMFILE, 10024}, {ENFILE, 10024},
    {EAGAIN, 10035}, {EPIPE, 10054},  {ENOMEM, 10055}, {ENOSPC, 10055},
};

}  // namespace

uint32_t winsock_from_socket_errno(int err)
{
    for (const auto &row : kGeneralErrnos)
        if (row.err == err)
            return row.wsa;
    return winsock_from_errno(err);
}

void record_socket_errno(int err)
{
    uint32_t wsa = winsock_from_socket_errno(err);
    if (wsa == 0 || ox_error_from_winsock(wsa) == OX_EUNKNOWN) {
        ox_error_set_last(static_cast<uint32_t>(err), OX_ERRKIND_ERRNO);
        return;
    }
    record_winsock(wsa);
}

void record_winsock(uint32_t wsa)
{
    int code = ox_error_set_last(wsa, OX_ERRKIND_WINSOCK);
    errno = ox_error_to_errno(code);
}

void record_einval(bool set_errno)
{
    int saved = errno;
    ox_error_set_last(EINVAL, OX_ERRKIND_ERRNO);
    if (!set_errno)
        errno = saved;
}

}  // namespace cairn
