/* libcairn networking: Internet addresses, the cached resolver, sockets. */
#ifndef CAIRN_NET_H
#define CAIRN_NET_H

#include <stdint.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <netinet/in.h>

#include "cairn/export.h"

#ifdef __cplusplus
extern "C" {
#endif

struct protoent;

/* ---- Sockets -----------------------------------------------------------
 * Thin wrappers over the system's sockets.  A socket is the system's
 * descriptor; -1 is the invalid socket.  On a system failure each call
 * stores the thread's last error as a Winsock code (kind
 * OX_ERRKIND_WINSOCK) with errno mirrored from it (ox_error_to_errno()),
 * and returns the system's failure value.  Argument checks fail with
 * errno-kind EINVAL.  Addresses given to ox_bind(), ox_connect() and
 * ox_sendto() are adapted to the socket's family (an IPv4 address given to
 * an IPv6 socket becomes ::ffff:a.b.c.d; ::1 and :: given to an IPv4 socket
 * become 127.0.0.1 and 0.0.0.0; other IPv6 addresses fail there). */

/** Capacity of a socket set. */
#define OX_FD_SETSIZE 4096

/** The library's socket set for ox_select(): members in insertion order,
 *  without duplicates.  Empty it with OX_FD_ZERO(). */
typedef struct ox_fd_set {
    uint32_t fd_count;
    int fd_array[OX_FD_SETSIZE];
} ox_fd_set;

#define OX_FD_ZERO(set) ((void)((set)->fd_count = 0))

/** Add @p s unless it is a member.  A full set is left unchanged and the
 *  notice "Number of sockets exceeds set limit. (FD_SETSIZE 4096)." printed.
 *  A NULL set is ignored. */
CAIRN_API void OX_FD_SET(int s, ox_fd_set *set);
/** Remove @p s, moving later members down by one.
 *  @return its former position, or the member count when absent (-1 for a
 *  NULL set). */
CAIRN_API int OX_FD_CLR(int s, ox_fd_set *set);
/** 1 when @p s is a member, else 0. */
CAIRN_API int OX_FD_ISSET(int s, const ox_fd_set *set);

/** A new socket, close-on-exec; an AF_INET6 socket is dual stack
 *  (IPV6_V6ONLY 0).  The first call checks that this host's own name
 *  resolves (and, on an IPv6 host, that ::1 has a name) and ends the
 *  process with status 1 when it does not.  @return the socket or -1. */
CAIRN_API int ox_socket(int family, int type, int protocol);
/** An AF_INET6 socket, else an AF_INET one; *@p family receives the family
 *  made, 0 when neither could be.  @return the socket or -1. */
CAIRN_API int ox_socket_unspec(int *family, int type, int protocol);
/** A connected stream pair in @p pair.  @return 0 or -1. */
CAIRN_API int ox_socketpair(int family, int type, int protocol, int pair[2]);
CAIRN_API int ox_bind(int s, const struct sockaddr *addr);
/** Connect; a link-local IPv6 address is tried with each interface's index
 *  as its scope in turn (0 without any connect when the host has no
 *  interface addresses). */
CAIRN_API int ox_connect(int s, const struct sockaddr *addr, socklen_t len);
CAIRN_API int ox_listen(int s, int backlog);
/** Accept; the caller's address buffer (*@p len bytes) is zeroed first and
 *  the new socket is close-on-exec. */
CAIRN_API int ox_accept(int s, struct sockaddr *addr, socklen_t *len);
CAIRN_API ssize_t ox_send(int s, const void *data, size_t len, int flags);
/** Lengths above 0x7FFFFFFF fail with EINVAL without a system call (also
 *  for ox_recvfrom() and ox_sendto()). */
CAIRN_API ssize_t ox_recv(int s, void *buf, size_t len, int flags);
CAIRN_API ssize_t ox_sendto(int s, const void *data, size_t len, int flags,
                            const struct sockaddr *to);
CAIRN_API ssize_t ox_recvfrom(int s, void *buf, size_t len, int flags, struct sockaddr *from,
                              socklen_t *fromlen);
/** With @p count 2, one gathered send (scattered receive) of both elements;
 *  with any other count only the first element, by ox_send() (ox_recv()).
 *  A NULL vector or a count below 1 fails with EINVAL. */
CAIRN_API ssize_t ox_sendv(int s, const struct iovec *vec, int count);
CAIRN_API ssize_t ox_recvv(int s, const struct iovec *vec, int count);
CAIRN_API int ox_shutdown(int s, int how);
/** Close.  When the socket lingers (SO_LINGER on, time above 0) its sending
 *  side is shut down first and unread data drained (waits of 1 second at
 *  most) so that the peer sees an orderly end.  A descriptor that is not a
 *  socket is left open and fails with WSAENOTSOCK. */
CAIRN_API int ox_closesocket(int s);
CAIRN_API int ox_setsockopt(int s, int level, int name, const void *value, socklen_t len);
CAIRN_API int ox_getsockopt(int s, int level, int name, void *value, socklen_t *len);
/** ioctl() on a socket with an int argument (FIONBIO, FIONREAD). */
CAIRN_API int ox_ioctlsocket(int s, unsigned long command, int *arg);
/** A NULL buffer or length fails with EINVAL, errno untouched; the
 *  buffer's family is zeroed before the call. */
CAIRN_API int ox_getsockname(int s, struct sockaddr *addr, socklen_t *len);
CAIRN_API int ox_getpeername(int s, struct sockaddr *addr, socklen_t *len);
/** The system's protocol entry, or NULL. */
CAIRN_API struct protoent *ox_getprotobyname(const char *name);
/** The socket's address family; 0 when @p s is not a socket. */
CAIRN_API int ox_getsockfamily(int s);

/** Wait until members of the sets are ready (@p count is ignored).  The
 *  sets are rewritten to their ready members; NULL sets are allowed; a
 *  NULL @p timeout waits without end.  Returns the number of ready
 *  memberships, 0 at the time-out, or -1 with WSAEINTR (errno EINTR) when
 *  ox_select_interrupt() was called or the thread's queued calls or timers
 *  ran during the wait. */
CAIRN_API int ox_select(int count, ox_fd_set *read_set, ox_fd_set *write_set,
                        ox_fd_set *error_set, const struct timeval *timeout);
/** poll() interruptible as ox_select(); @p timeout_ms below 0 waits without
 *  end.  A count of 0 fails with EINVAL (errno untouched); entries whose
 *  socket is -1 or -2 get no events. */
CAIRN_API int ox_poll(struct pollfd *fds, unsigned long count, int timeout_ms);
/** End every ox_select() and ox_poll() in progress in the process with
 *  EINTR; calls that begin afterwards are not affected. */
CAIRN_API void ox_select_interrupt(void);
/** TCP keep-alive on, first probe after @p idle_s seconds, then every
 *  @p interval_s seconds.  @return 1, or 0 on failure. */
CAIRN_API int ox_setsock_keepalive(int s, int idle_s, int interval_s);
/** Blocking (oxsoblock) or non-blocking (oxsononblock) mode; 1 or 0. */
CAIRN_API int oxsoblock(int s);
CAIRN_API int oxsononblock(int s);
/** Leave the socket layer running when the exit handlers run. */
CAIRN_API void ox_defer_wsa_cleanup(void);

#ifdef __cplusplus
}
#endif

#endif /* CAIRN_NET_H */
