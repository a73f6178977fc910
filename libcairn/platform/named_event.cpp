#include "platform/named_event.hpp"

#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace cairn {
namespace {

// The one watched event of the process (the debug event).  Set before its
// thread starts and read only by that thread.
struct Watch {
    int fd = -1;
    void (*on_fire)() = nullptr;
};
Watch g_watch;
std::atomic<unsigned long> g_refusals{0};

// Whether a datagram sent by `uid` may fire this process's event: only its
// own user (real or effective) and root may.
bool sender_allowed(uid_t uid) { return uid == 0 || uid == geteuid() || uid == getuid(); }

// Receive one datagram with its sender's credentials (the kernel attaches
// them: SO_PASSCRED is set on the socket).  1 when the sender may fire the
// event, 0 when it may not or sent none, -1 on a receive error.
int receive_one(int fd, int flags)
{
    char byte;
    iovec iov{&byte, 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr msg{};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    if (recvmsg(fd, &msg, flags) < 0)
        return -1;
    for (cmsghdr *c = CMSG_FIRSTHDR(&msg); c != nullptr; c = CMSG_NXTHDR(&msg, c))
        if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_CREDENTIALS) {
            ucred cred;
            std::memcpy(&cred, CMSG_DATA(c), sizeof cred);
            if (sender_allowed(cred.uid))
                return 1;
        }
    g_refusals.fetch_add(1, std::memory_order_relaxed);
    return 0;
}

// The abstract address of `name`: a leading NUL, then the name (no
// terminator).  Returns the address length, 0 when the name is too long.
socklen_t abstract_address(const char *name, sockaddr_un &addr)
{
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    std::size_t len = std::strlen(name);
    if (len == 0 || len + 1 > sizeof addr.sun_path)
        return 0;
    std::memcpy(addr.sun_path + 1, name, len);
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + len);
}

// Drop every datagram already queued: they are one firing (refused
// senders are still counted).
void drain(int fd)
{
    while (receive_one(fd, MSG_DONTWAIT) >= 0) {
    }
}

void *watch_loop(void *arg)
{
    Watch watch = *static_cast<Watch *>(arg);
    for (;;) {
        int allowed = receive_one(watch.fd, 0);
        if (allowed < 0) {
            if (errno == EINTR)
                continue;
            break;  // the socket was closed or broke: stop watching
        }
        if (allowed == 0)
            continue;  // another user's datagram: ignored
        drain(watch.fd);
        watch.on_fire();
    }
    return nullptr;
}

int start_thread(Watch *watch)
{
    // The watcher must never take a signal meant for the program's threads.
    sigset_t all, old;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &old);
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    int rc = pthread_create(&thread, &attr, watch_loop, watch);
    pthread_attr_destroy(&attr);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    return rc;
}

}  // namespace

int named_event_watch(const char *name, void (*on_fire)())
{
    sockaddr_un addr;
    socklen_t len = abstract_address(name, addr);
    if (len == 0)
        return ENAMETOOLONG;
    if (g_watch.fd >= 0)
        return EBUSY;
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return errno;
    // Every datagram then carries its sender's credentials.
    int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0 ||
        bind(fd, reinterpret_cast<sockaddr *>(&addr), len) != 0) {
        int err = errno;
        close(fd);
        return err;
    }
    g_watch = Watch{fd, on_fire};
    int rc = start_thread(&g_watch);
    if (rc != 0) {
        close(fd);
        g_watch = Watch{};
    }
    return rc;
}

unsigned long named_event_refusals() { return g_refusals.load(std::memory_order_relaxed); }

void named_event_forget_after_fork()
{
    if (g_watch.fd >= 0)
        close(g_watch.fd);
    g_watch = Watch{};
}

int named_event_fire(const char *name)
{
    sockaddr_un addr;
    socklen_t len = abstract_address(name, addr);
    if (len == 0)
        return ENAMETOOLONG;
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return errno;
    char byte = '1';
    int rc = 0;
    if (sendto(fd, &byte, 1, MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&addr), len) != 1)
        rc = errno == EAGAIN ? 0 : errno;  // a full queue already holds a firing
    close(fd);
    return rc;
}

}  // namespace cairn
