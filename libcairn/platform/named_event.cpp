#include "platform/named_event.hpp"

#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

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

// Drop every datagram already queued: they are one firing.
void drain(int fd)
{
    char byte;
    while (recv(fd, &byte, 1, MSG_DONTWAIT) >= 0) {
    }
}

void *watch_loop(void *arg)
{
    Watch watch = *static_cast<Watch *>(arg);
    char byte;
    for (;;) {
        ssize_t n = recv(watch.fd, &byte, 1, 0);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            break;  // the socket was closed or broke: stop watching
        }
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
    if (bind(fd, reinterpret_cast<sockaddr *>(&addr), len) != 0) {
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
