// ox_select() and ox_poll(): waits on sockets that the library's wait core
// runs, so that queued calls and timers run during them, and that
// ox_select_interrupt() ends at once.  The process-wide select generation
// says whether an interrupt came: a wait remembers it when it begins and
// ends interrupted when it changes; the interrupt then wakes every thread
// that waits on descriptors (each through its own wake descriptor).
#include <poll.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "cairn/net.h"
#include "net/socket_errors.hpp"
#include "platform/alloc.hpp"
#include "platform/descriptor_wait.hpp"
#include "platform/futex.hpp"
#include "platform/thread_record.hpp"

using namespace cairn;

namespace {

std::atomic<uint32_t> g_select_generation{0};

// Poll entries on the stack for the usual few sockets, else on the heap
// (freed also when the thread is ended inside the wait).  One entry more
// than asked for: the wait core's wake descriptor.
constexpr size_t kStackEntries = 32;
constexpr unsigned long kMaxPollEntries = 1ul << 20;

void free_entries(void *p) { mem_free(p); }

class PollEntries {
public:
    explicit PollEntries(size_t n)
        : heap_(n + 1 > kStackEntries ? static_cast<pollfd *>(mem_alloc((n + 1) * sizeof(pollfd)))
                                      : nullptr),
          frees_(free_entries, heap_)
    {}
    ~PollEntries() { mem_free(heap_); }
    PollEntries(const PollEntries &) = delete;
    PollEntries &operator=(const PollEntries &) = delete;

    // nullptr when the heap entries could not be had (last error set).
    pollfd *get(size_t n) { return n + 1 > kStackEntries ? heap_ : stack_; }

private:
    pollfd stack_[kStackEntries];
    pollfd *heap_;
    UnwindOnEnd frees_;
};

uint64_t deadline_after(const struct timeval *timeout)
{
    if (timeout == nullptr)
        return kNoDeadline;
    uint64_t us = static_cast<uint64_t>(timeout->tv_sec) * 1'000'000u +
                  static_cast<uint64_t>(timeout->tv_usec);
    uint64_t now = monotonic_ns();
    if (us > (kNoDeadline - now) / 1000u)
        return kNoDeadline - 1;
    return now + us * 1000u;
}

bool timeout_valid(const struct timeval *timeout)
{
    return timeout == nullptr ||
           (timeout->tv_sec >= 0 && timeout->tv_usec >= 0 && timeout->tv_usec < 1'000'000);
}

// Interrupted (an interrupt, or queued calls or timers ran): WSAEINTR.
int interrupted()
{
    record_winsock(kWsaInterrupted);
    return -1;
}

// Wait on `fds` with the generation taken at the start of the call; a
// result that raced an interrupt counts as interrupted.
int wait_entries(pollfd *fds, size_t n, uint64_t deadline, uint32_t seen)
{
    WaitGeneration generation{&g_select_generation, seen};
    int r = descriptor_wait(fds, n, deadline, &generation);
    if ((r < 0 && errno == EINTR) || (r > 0 && generation.changed()))
        return interrupted();
    return socket_result(r);
}

constexpr short kReadable = POLLIN | POLLHUP | POLLERR;
constexpr short kWritable = POLLOUT | POLLERR;
constexpr short kExceptional = POLLPRI | POLLERR;

struct SetRole {
    ox_fd_set *set;
    short asks;
    short ready_on;
};

size_t members(const ox_fd_set *set) { return set != nullptr ? set->fd_count : 0; }

// One entry per membership, in the sets' order.
size_t fill_entries(const SetRole (&roles)[3], pollfd *fds)
{
    size_t n = 0;
    for (const SetRole &role : roles)
        for (size_t i = 0; i < members(role.set); ++i)
            fds[n++] = pollfd{role.set->fd_array[i], role.asks, 0};
    return n;
}

// Each set keeps its ready members, in order; returns how many in all.
// -1 when a member is not an open descriptor.
int keep_ready(const SetRole (&roles)[3], const pollfd *fds)
{
    int total = 0;
    size_t at = 0;
    for (const SetRole &role : roles) {
        uint32_t kept = 0;
        for (size_t i = 0; i < members(role.set); ++i, ++at) {
            if (fds[at].revents & POLLNVAL)
                return -1;
            if (fds[at].revents & role.ready_on)
                role.set->fd_array[kept++] = fds[at].fd;
        }
        if (role.set != nullptr)
            role.set->fd_count = kept;
        total += static_cast<int>(kept);
    }
    return total;
}

}  // namespace

extern "C" {

CAIRN_API int ox_select(int /*count*/, ox_fd_set *read_set, ox_fd_set *write_set,
                        ox_fd_set *error_set, const struct timeval *timeout)
{
    const uint32_t seen = g_select_generation.load(std::memory_order_seq_cst);
    const SetRole roles[3] = {{read_set, POLLIN, kReadable},
                              {write_set, POLLOUT, kWritable},
                              {error_set, POLLPRI, kExceptional}};
    size_t n = members(read_set) + members(write_set) + members(error_set);
    if (!timeout_valid(timeout) || members(read_set) > OX_FD_SETSIZE ||
        members(write_set) > OX_FD_SETSIZE || members(error_set) > OX_FD_SETSIZE) {
        record_socket_errno(EINVAL);
        return -1;
    }
    uint64_t deadline = deadline_after(timeout);
    PollEntries entries(n);
    pollfd *fds = entries.get(n);
    if (fds == nullptr)
        return -1;
    fill_entries(roles, fds);
    int r = wait_entries(fds, n, deadline, seen);
    if (r <= 0)
        return r;
    r = keep_ready(roles, fds);
    if (r < 0)
        record_winsock(kWsaNotSocket);
    return r;
}

CAIRN_API int ox_poll(struct pollfd *fds, unsigned long count, int timeout_ms)
{
    const uint32_t seen = g_select_generation.load(std::memory_order_seq_cst);
    if (count == 0 || fds == nullptr) {
        record_einval(false);
        return -1;
    }
    if (count > kMaxPollEntries) {
        record_socket_errno(EINVAL);
        return -1;
    }
    uint64_t deadline =
        timeout_ms < 0 ? kNoDeadline : deadline_after_ms(static_cast<uint32_t>(timeout_ms));
    PollEntries entries(count);
    pollfd *copy = entries.get(count);
    if (copy == nullptr)
        return -1;
    memcpy(copy, fds, count * sizeof *fds);
    int r = wait_entries(copy, count, deadline, seen);
    for (unsigned long i = 0; i < count; ++i)
        fds[i].revents = r > 0 && fds[i].fd != -1 && fds[i].fd != -2 ? copy[i].revents : 0;
    return r;
}

CAIRN_API void ox_select_interrupt(void)
{
    g_select_generation.fetch_add(1, std::memory_order_seq_cst);
    wake_descriptor_waiters();
}

}  // extern "C"
