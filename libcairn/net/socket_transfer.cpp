// Sending and receiving: the length checks, address adaptation for
// datagrams, and the vector calls.
#include <sys/socket.h>

#include "cairn/net.h"
#include "net/socket_address.hpp"
#include "net/socket_errors.hpp"

using namespace cairn;

namespace {

bool length_refused(size_t len)
{
    if (len <= kMaxSocketLength)
        return false;
    record_einval();
    return true;
}

// With two elements the vector calls move both in one gathered send or
// scattered receive; with any other count only the first element moves.
// Callers rely on that, so it stays.
bool vector_refused(const struct iovec *vec, int count)
{
    if (vec != nullptr && count >= 1)
        return false;
    record_einval();
    return true;
}

}  // namespace

extern "C" {

CAIRN_API ssize_t ox_send(int s, const void *data, size_t len, int flags)
{
    return socket_result(send(s, data, len, flags | MSG_NOSIGNAL));
}

CAIRN_API ssize_t ox_recv(int s, void *buf, size_t len, int flags)
{
    if (length_refused(len))
        return -1;
    return socket_result(recv(s, buf, len, flags));
}

CAIRN_API ssize_t ox_sendto(int s, const void *data, size_t len, int flags,
                            const struct sockaddr *to)
{
    if (length_refused(len))
        return -1;
    if (to == nullptr)
        return socket_result(sendto(s, data, len, flags | MSG_NOSIGNAL, nullptr, 0));
    AdaptedAddress a;
    adapt_address(s, to, 0, a);
    return socket_result(sendto(s, data, len, flags | MSG_NOSIGNAL, a.addr, a.len));
}

CAIRN_API ssize_t ox_recvfrom(int s, void *buf, size_t len, int flags, struct sockaddr *from,
                              socklen_t *fromlen)
{
    if (length_refused(len))
        return -1;
    return socket_result(recvfrom(s, buf, len, flags, from, fromlen));
}

CAIRN_API ssize_t ox_sendv(int s, const struct iovec *vec, int count)
{
    if (vector_refused(vec, count))
        return -1;
    if (count != 2)
        return ox_send(s, vec[0].iov_base, vec[0].iov_len, 0);
    msghdr msg{};
    msg.msg_iov = const_cast<struct iovec *>(vec);
    msg.msg_iovlen = 2;
    return socket_result(sendmsg(s, &msg, MSG_NOSIGNAL));
}

CAIRN_API ssize_t ox_recvv(int s, const struct iovec *vec, int count)
{
    if (vector_refused(vec, count))
        return -1;
    if (count != 2)
        return ox_recv(s, vec[0].iov_base, vec[0].iov_len, 0);
    msghdr msg{};
    msg.msg_iov = const_cast<struct iovec *>(vec);
    msg.msg_iovlen = 2;
    return socket_result(recvmsg(s, &msg, 0));
}

}  // extern "C"
