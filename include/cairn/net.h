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

/* The C library's struct addrinfo (<netdb.h>); only pointers pass here. */
struct addrinfo;

/* ---- Addresses -------------------------------------------------------
 * An address is a struct sockaddr_in (16 bytes) or sockaddr_in6 (28 bytes);
 * a buffer for either is a struct sockaddr_storage.  Ports are in network
 * byte order.  "Sets EINVAL" means the thread's last error is errno EINVAL. */

/** AF_INET6 if @p text holds ':', else AF_INET if it holds '.', else 0. */
CAIRN_API int ox_inet_getaf(const char *text);
/** 16 or 28 by family; other families set EINVAL and give 16. */
CAIRN_API int ox_inet_getlen(const struct sockaddr *addr);
/** 1 for AF_INET or AF_INET6, else 0. */
CAIRN_API int ox_inet_isafinet(const struct sockaddr *addr);
/** The port as stored (network order); other families: EINVAL and 0. */
CAIRN_API uint16_t ox_inet_getport(const struct sockaddr *addr);
/** Store @p port (network order); other families set EINVAL.  The result
 *  carries no meaning. */
CAIRN_API int ox_inet_setport(struct sockaddr *addr, uint16_t port);
/** Copy the 4 or 16 address bytes, at most @p len; 0, or -1 with EINVAL. */
CAIRN_API int ox_inet_getaddr(const struct sockaddr *addr, void *buf, int len);
/** Write the wildcard address.  A family other than AF_INET/AF_INET6 is
 *  first set to AF_INET6 on an IPv6-enabled host, else AF_INET. */
CAIRN_API void ox_inet_setanyaddr(struct sockaddr *addr);
/** As ox_inet_setanyaddr(), writing 127.0.0.1 or ::1. */
CAIRN_API void ox_inet_setloopback(struct sockaddr *addr);
/** Local-domain addresses are not supported: ENOSYS and -1. */
CAIRN_API int ox_inet_setunixaddr(struct sockaddr *addr, const char *path);

CAIRN_API int ox_inet_isanyaddr(const struct sockaddr *addr);
/** 127.0.0.0/8, ::1 and ::ffff:127.0.0.0/104. */
CAIRN_API int ox_inet_isloopback(const struct sockaddr *addr);
/** One of the usual loopback host names, ignoring case; no resolution. */
CAIRN_API int ox_inet_isloopback_name(const char *name);
/** 1 when the address is a loopback or one of this host's interface
 *  addresses (positive answers are remembered). */
CAIRN_API int ox_inet_islocaladdr(const struct sockaddr *addr);
/** 1 when ox_inet_pton() accepts @p text. */
CAIRN_API int ox_inet_isvalidaddr(const char *text);
/** 1 when @p host resolves; else 0 with the last error cleared. */
CAIRN_API int ox_inet_isvalidhost(const char *host);
/** Mode 0: 1 for a valid IPv6 text; mode 1: also reverse-resolvable;
 *  any other mode: 0. */
CAIRN_API int ox_inet_isvalidipv6addr(const char *text, int mode);

/** 0 when both are the same host address (ports, flow and scope ignored;
 *  a mapped IPv4 address equals its IPv4 form), else -1. */
CAIRN_API int ox_inet_addrcmp(const struct sockaddr *a, const struct sockaddr *b);
/** -1, 0 or 1 in byte order of the masked addresses widened to 16 bytes;
 *  an IPv4 mask applies to the last 32 bits.  -1 also on bad input. */
CAIRN_API int ox_inet_addrcmp_netmask(const struct sockaddr *a, const struct sockaddr *b,
                                      const struct sockaddr *mask);
/** ox_inet_addrcmp_netmask() under an IPv4 mask of @p prefix bits. */
CAIRN_API int ox_inet_addrcmp_prefix(const struct sockaddr *a, const struct sockaddr *b,
                                     unsigned int prefix);
/** Write a mask of @p prefix bits (family and address only); -1 with
 *  EINVAL above 128.  IPv4 shifts modulo 32. */
CAIRN_API int ox_inet_netmask_from_prefix(int family, unsigned int prefix, struct sockaddr *mask);
/** Leading one bits of a mask (IPv6 groups read in host byte order). */
CAIRN_API int ox_inet_prefix_from_netmask(const struct sockaddr *mask);

/** Parse a numeric address into @p addr (room for a sockaddr_storage);
 *  0, or -1 with the last error. */
CAIRN_API int ox_inet_pton(const char *text, struct sockaddr *addr);
/** Numeric text of @p addr (mapped IPv4 in dotted form); NULL on failure. */
CAIRN_API char *ox_inet_ntop(const struct sockaddr *addr, char *buf, int len);
/** Unpadded hexadecimal groups of the address (not reversible). */
CAIRN_API char *ox_inet_addrtohex(const struct sockaddr *addr, char *buf, int len);
/** The canonical name of @p text, or @p text itself when it does not
 *  resolve.  Returns @p buf. */
CAIRN_API char *ox_inet_ptoh(const char *text, char *buf, int len);
/** The first usable (non-6to4) address of @p host as text; NULL on failure
 *  with @p host copied into @p buf. */
CAIRN_API char *ox_inet_htop(const char *host, char *buf, int len);
/** 0 when both names resolve to the same canonical name, else -1. */
CAIRN_API int ox_inet_hostcmp(const char *a, const char *b);
/** Length of the IPv6 address that begins "address:rest" or
 *  "address_rest", or 0. */
CAIRN_API int ox_inet_parseipv6addr(const char *text);

/* ---- Host interfaces -------------------------------------------------- */

/** One interface address of the host. */
typedef struct ox_ifaddress {
    struct ox_ifaddress *next; /**< the next address, or NULL */
    const char *name;          /**< interface name */
    unsigned int index;        /**< interface index (scope of link-local) */
    unsigned int flags;        /**< the system's IFF_ flags */
    struct sockaddr *addr;     /**< AF_INET or AF_INET6 */
    struct sockaddr *netmask;  /**< same family, or NULL */
} ox_ifaddress;

/** The host's AF_INET and AF_INET6 interface addresses in the system's
 *  order (NULL when it has none).  0, or -1 with the last error. */
CAIRN_API int ox_get_ifaddresses(ox_ifaddress **list);
/** Free a list from ox_get_ifaddresses(); NULL is ignored. */
CAIRN_API void ox_free_ifaddresses(ox_ifaddress *list);
/** 1 when @p addr equals (ox_inet_addrcmp) an interface address, else 0. */
CAIRN_API int ox_is_myaddress(const struct sockaddr *addr);

/* ---- Resolver and its cache -------------------------------------------
 * Results are the C library's EAI_ codes, also stored as the thread's
 * last error of kind OX_ERRKIND_RESOLVER. */

/** getaddrinfo() through the cache; chains are private copies, freed with
 *  ox_freeaddrinfo().  Sets *@p result to NULL first. */
CAIRN_API int ox_getaddrinfo(const char *host, const char *service, const struct addrinfo *hints,
                             struct addrinfo **result);
/** Free a chain from ox_getaddrinfo(); NULL is ignored. */
CAIRN_API void ox_freeaddrinfo(struct addrinfo *chain);
/** getnameinfo() through the cache; @p host is emptied first. */
CAIRN_API int ox_getnameinfo(const struct sockaddr *addr, socklen_t addrlen, char *host,
                             socklen_t hostlen, char *service, socklen_t servlen, int flags);

/** A private copy of @p host's aliases from the system (no cache): a
 *  vector of 256-byte strings (free with ox_strvfree()) in @p aliases.
 *  @return their number, or -1 (host not found, or no memory). */
CAIRN_API int ox_getaliasinfo(const char *host, char ***aliases);

/** Empty both caches.  0, or -1 when either could not be emptied. */
CAIRN_API int ox_inet_cache_flush(void);
/** The positive and negative times to live in seconds (either may be NULL). */
CAIRN_API void ox_inet_cache_get_ttls(int32_t *positive, int32_t *negative);
/** Set the times to live of entries added from now on; a negative value
 *  leaves its setting unchanged.  Defaults 1800 and 1800. */
CAIRN_API void ox_inet_cache_set_ttls(int32_t positive, int32_t negative);
/** Remove the forward entry of (host, service, hints), retrying a busy one
 *  every 200 ms up to 10 times.  0 when removed (also when the cache is
 *  off or not made), else the table's result (49 not cached). */
CAIRN_API int ox_inet_addrinfo_cache_remove(const char *host, const char *service,
                                            const struct addrinfo *hints);
/** As ox_inet_addrinfo_cache_remove() for the reverse entry of an address
 *  and NI_ flags. */
CAIRN_API int ox_inet_nameinfo_cache_remove(const struct sockaddr *addr, socklen_t addrlen,
                                            int flags);

/** ox_conf() options: the host-identity interface list cache, the cache. */
#define OX_CONF_CACHE_NICS 1
#define OX_CONF_INET_CACHE 2
/** Switch @p option to *@p value (0 or 1); -1 with the last error for any
 *  other value.  Unknown options do nothing and return 0. */
CAIRN_API int ox_conf(int option, const int32_t *value);

/* ---- Operator controls -------------------------------------------------
 * FlushDnsCache, PrintDnsCache and LogDnsThreshold (cairn/diagnostics.h)
 * are set from outside by a debugging facility; dns_check_dbg_op() polls
 * the first two, and every system lookup that takes longer than
 * LogDnsThreshold seconds (0 off) is reported. */

/** Carry out and clear the operator variables: flush both cache levels,
 *  print them (severity 50000, through msg_print). */
CAIRN_API void dns_check_dbg_op(void);
/** Times to live of the host-identity caches (level II), as
 *  ox_inet_cache_set_ttls(). */
CAIRN_API void dns_cache_set_ttls(int32_t positive, int32_t negative);
CAIRN_API void dns_cache_get_ttls(int32_t *positive, int32_t *negative);

/* The C library's struct protoent (<netdb.h>); only pointers pass here. */
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
    uint32_t fd_count;           /**< members in use */
    int fd_array[OX_FD_SETSIZE]; /**< the members, in insertion order */
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
CAIRN_API int ox_select(int count, ox_fd_set *read_set, ox_fd_set *write_set, ox_fd_set *error_set,
                        const struct timeval *timeout);
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
