#include "platform/named_event.hpp"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <ctime>

namespace cairn {
namespace {

// The one watched event of the process (the debug event).  Set before its
// thread starts and read only by that thread.
struct Watch {
    int fd = -1;
    void (*on_fire)() = nullptr;
};
Watch g_watch;
// Set to ask the watcher to end; the watcher clears `g_watching` as its
// last step, after which its socket may be closed.
std::atomic<bool> g_stopping{false};
std::atomic<bool> g_watching{false};
pthread_t g_watcher;
// Whether g_watcher is still to be joined (or, when a stop cannot wait for
// it, detached): a stop joins it, so that nothing of the thread outlives
// the stop, not even the stack of a thread that is returning.
std::atomic<bool> g_joinable{false};
std::atomic<unsigned long> g_refusals{0};

// Whether a datagram sent by `uid` may fire this process's event: only its
// own user (real or effective) and root may.
bool sender_allowed(uid_t uid) { return uid == 0 || uid == geteuid() || uid == getuid(); }

std::atomic<RequestHandler> g_request_handler{nullptr};

// How long a stop waits for a watcher busy in the event's handler.
constexpr int kStopWaitMs = 2000;

// One received datagram: its text (a firing or a request), who sent it and
// where an answer goes.
struct Datagram {
    char text[kAnswerMax + 1];  // requests are shorter than answers
    std::size_t len = 0;
    sockaddr_un from{};
    socklen_t from_len = 0;
    ucred cred{0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};  // none yet
    bool has_cred = false;
};

// Receive one datagram with its sender's credentials (the kernel attaches
// them: SO_PASSCRED is set on the socket).  Returns the byte count, or -1
// on a receive error.
ssize_t receive(int fd, int flags, Datagram &d)
{
    iovec iov{d.text, sizeof d.text - 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr msg{};
    msg.msg_name = &d.from;
    msg.msg_namelen = sizeof d.from;
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    ssize_t n = recvmsg(fd, &msg, flags);
    if (n < 0)
        return -1;
    d.len = static_cast<std::size_t>(n);
    d.text[d.len] = '\0';
    d.from_len = msg.msg_namelen;
    d.has_cred = false;
    for (cmsghdr *c = CMSG_FIRSTHDR(&msg); c != nullptr; c = CMSG_NXTHDR(&msg, c))
        if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_CREDENTIALS) {
            std::memcpy(&d.cred, CMSG_DATA(c), sizeof d.cred);
            d.has_cred = true;
        }
    return n;
}

// 1 when the datagram's sender may reach this process, else 0 (counted).
int allowed(const Datagram &d)
{
    if (d.has_cred && sender_allowed(d.cred.uid))
        return 1;
    g_refusals.fetch_add(1, std::memory_order_relaxed);
    return 0;
}

// Receive one datagram: 1 when an allowed sender sent it, 0 when it is
// refused, -1 on a receive error.
int receive_one(int fd, int flags)
{
    Datagram d;
    return receive(fd, flags, d) < 0 ? -1 : allowed(d);
}

bool is_request(const Datagram &d) { return d.len > 0 && d.text[0] == kRequestMark; }

// Answer a request to the address it came from (a sender without an
// address gets nothing).
void answer(int fd, const Datagram &d)
{
    RequestHandler handler = g_request_handler.load(std::memory_order_acquire);
    if (handler == nullptr || d.from_len <= offsetof(sockaddr_un, sun_path))
        return;
    char reply[kAnswerMax];
    reply[0] = '\0';
    handler(d.text + 1, d.cred.uid, reply, sizeof reply);
    sendto(fd, reply, std::strlen(reply), MSG_DONTWAIT, reinterpret_cast<const sockaddr *>(&d.from),
           d.from_len);
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

// Drop the firings already queued: they are one firing (refused senders
// are still counted).  A request stops the drain: it is answered after
// the handler, in its turn.
void drain(int fd)
{
    for (;;) {
        char first;
        if (recv(fd, &first, 1, MSG_DONTWAIT | MSG_PEEK) < 0 || first == kRequestMark)
            return;
        if (receive_one(fd, MSG_DONTWAIT) < 0)
            return;
    }
}

void *watch_loop(void *arg)
{
    Watch watch = *static_cast<Watch *>(arg);
    Datagram d;
    for (;;) {
        ssize_t got = receive(watch.fd, 0, d);
        if (g_stopping.load(std::memory_order_acquire))
            break;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            break;  // the socket was closed or broke: stop watching
        }
        if (!allowed(d))
            continue;  // another user's datagram: ignored
        if (is_request(d)) {
            answer(watch.fd, d);
            continue;
        }
        drain(watch.fd);
        watch.on_fire();
    }
    g_watching.store(false, std::memory_order_release);
    return nullptr;
}

int start_thread(Watch *watch)
{
    // The watcher must never take a signal meant for the program's threads.
    sigset_t all, old;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &old);
    g_stopping.store(false, std::memory_order_relaxed);
    g_watching.store(true, std::memory_order_release);
    int rc = pthread_create(&g_watcher, nullptr, watch_loop, watch);
    g_watching.store(rc == 0, std::memory_order_release);
    g_joinable.store(rc == 0, std::memory_order_release);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    return rc;
}

// A watcher that a stop cannot wait for ends on its own, and is reclaimed
// when it does.
void let_the_watcher_go()
{
    if (g_joinable.exchange(false, std::memory_order_acq_rel))
        pthread_detach(g_watcher);
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

void named_event_set_request_handler(RequestHandler handler)
{
    g_request_handler.store(handler, std::memory_order_release);
}

unsigned long named_event_refusals() { return g_refusals.load(std::memory_order_relaxed); }

void named_event_forget_after_fork()
{
    if (g_watch.fd >= 0)
        close(g_watch.fd);
    g_watch = Watch{};
    g_watching.store(false);
    g_joinable.store(false);  // the watcher is the parent's, not this process's
    g_stopping.store(false);
}

bool named_event_stop()
{
    if (g_watch.fd < 0)
        return true;
    // A shut-down socket wakes the watcher's receive at once.
    g_stopping.store(true, std::memory_order_release);
    shutdown(g_watch.fd, SHUT_RDWR);
    if (g_watching.load(std::memory_order_acquire) && pthread_equal(g_watcher, pthread_self())) {
        let_the_watcher_go();  // asked from the watcher's own handler: it ends on return
        return false;
    }
    // The watcher may be in the event's handler: wait for it a while, but
    // never keep an exiting process waiting on a handler that hangs.
    for (int waited_ms = 0; g_watching.load(std::memory_order_acquire); ++waited_ms) {
        if (waited_ms >= kStopWaitMs) {
            let_the_watcher_go();
            return false;
        }
        timespec ms{0, 1000000};
        nanosleep(&ms, nullptr);
    }
    // Past its last step the watcher only returns: the join is immediate.
    if (g_joinable.exchange(false, std::memory_order_acq_rel))
        pthread_join(g_watcher, nullptr);
    close(g_watch.fd);
    g_watch = Watch{};
    g_stopping.store(false, std::memory_order_relaxed);
    return true;
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

namespace {

uint64_t monotonic_ms()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
}

// A socket with an address of its own (auto-bound in the abstract
// namespace) that answers can reach; it learns who sent each datagram.
int answer_socket()
{
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0 ||
        bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof(sa_family_t)) != 0) {
        int err = errno;
        close(fd);
        errno = err;
        return -1;
    }
    return fd;
}

struct Progress {
    void (*fn)(uint32_t elapsed_ms, void *arg);
    void *arg;
};

// Wait for a datagram from process `pid` (others are dropped) and copy it,
// cut to fit, into `out`.  Returns 0 or an errno value.
int await_answer(int fd, int pid, char *out, std::size_t size, uint32_t timeout_ms, Progress p)
{
    const uint64_t start = monotonic_ms();
    uint64_t next_progress = start + 1000;
    for (;;) {
        uint64_t now = monotonic_ms();
        if (now - start >= timeout_ms)
            return ETIMEDOUT;
        if (now >= next_progress) {
            if (p.fn != nullptr)
                p.fn(static_cast<uint32_t>(now - start), p.arg);
            next_progress += 1000;
        }
        uint64_t until = std::min<uint64_t>(start + timeout_ms, next_progress);
        pollfd pfd{fd, POLLIN, 0};
        int ready = poll(&pfd, 1, static_cast<int>(until - now));
        if (ready < 0 && errno != EINTR)
            return errno;
        Datagram d;
        if (ready <= 0 || receive(fd, MSG_DONTWAIT, d) < 0)
            continue;
        if (!d.has_cred || d.cred.pid != pid)
            continue;  // not the answer of the process asked
        std::size_t n = std::min(d.len, size - 1);
        std::memcpy(out, d.text, n);
        out[n] = '\0';
        return 0;
    }
}

}  // namespace

int named_event_request(const char *name, int pid, const char *request, char *answer,
                        std::size_t size, uint32_t timeout_ms,
                        void (*progress)(uint32_t elapsed_ms, void *arg), void *arg)
{
    std::size_t len = std::strlen(request);
    if (answer == nullptr || size == 0 || len >= kRequestMax)
        return EINVAL;
    sockaddr_un addr;
    socklen_t addr_len = abstract_address(name, addr);
    if (addr_len == 0)
        return ENAMETOOLONG;
    int fd = answer_socket();
    if (fd < 0)
        return errno;
    char text[kRequestMax + 1];
    text[0] = kRequestMark;
    std::memcpy(text + 1, request, len + 1);  // with its terminator, which is not sent
    int rc = 0;
    if (sendto(fd, text, len + 1, MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&addr), addr_len) !=
        static_cast<ssize_t>(len + 1))
        rc = errno;
    else
        rc = await_answer(fd, pid, answer, size, timeout_ms, Progress{progress, arg});
    close(fd);
    return rc;
}

}  // namespace cairn
