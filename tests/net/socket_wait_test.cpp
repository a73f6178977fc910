// ox_select() and ox_poll(): results, time-outs, and the waits' alerts: the
// process-wide interrupt, queued calls, timers and a cancel; and the socket
// set itself (insertion order, no duplicates, a capacity of 4096 with a
// notice beyond it).
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "cairn/messages.h"
#include "cairn/net.h"
#include "platform/sync_object.hpp"
#include "platform/thread_record.hpp"

namespace {

using Clock = std::chrono::steady_clock;

struct Pair {
    int fd[2];
    Pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fd), 0); }
    ~Pair() { close(fd[0]), close(fd[1]); }
};

// Wait (generously) until `rec` sleeps in a descriptor wait.
void await_polling(std::atomic<cairn::ThreadRecord *> &rec)
{
    auto limit = Clock::now() + std::chrono::seconds(20);
    while ((rec.load() == nullptr || rec.load()->park.load() != cairn::kParkPolling) &&
           Clock::now() < limit)
        std::this_thread::yield();
    ASSERT_EQ(rec.load()->park.load(), cairn::kParkPolling);
}

// ox_select() on one socket's readability.
int select_read(int fd, timeval *timeout)
{
    auto set = std::make_unique<ox_fd_set>();
    OX_FD_ZERO(set.get());
    OX_FD_SET(fd, set.get());
    return ox_select(0, set.get(), nullptr, nullptr, timeout);
}

struct WaitOutcome {
    int result = 0, err = 0, kind = 0;
    uint32_t code = 0;
    std::chrono::milliseconds took{};
};

// Block in `wait` on another thread, poke it once it sleeps, and report.
template <typename Wait, typename Poke>
WaitOutcome blocked_wait(Wait wait, Poke poke)
{
    std::atomic<cairn::ThreadRecord *> rec{nullptr};
    WaitOutcome out;
    std::thread waiter([&] {
        rec = cairn::thread_record();
        auto start = Clock::now();
        out.result = wait();
        out.err = errno;
        out.code = ox_error_get_last_native(&out.kind);
        out.took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    });
    await_polling(rec);
    poke(*rec.load());
    waiter.join();
    return out;
}

TEST(SocketWait, InterruptEndsWaitsInProgressOnly)
{
    Pair p;
    auto select_forever = [&] {
        timeval long_wait{30, 0};  // bounded, so that a lost wake-up fails rather than hangs
        return select_read(p.fd[0], &long_wait);
    };
    auto poll_forever = [&] {
        pollfd entry{p.fd[0], POLLIN, 0};
        return ox_poll(&entry, 1, 30000);
    };
    for (int use_poll = 0; use_poll < 2; ++use_poll) {
        SCOPED_TRACE(use_poll ? "ox_poll" : "ox_select");
        auto interrupt = [](cairn::ThreadRecord &) { ox_select_interrupt(); };
        WaitOutcome out = use_poll ? blocked_wait(poll_forever, interrupt)
                                   : blocked_wait(select_forever, interrupt);
        EXPECT_EQ(out.result, -1);
        EXPECT_EQ(out.err, EINTR);
        EXPECT_EQ(out.kind, OX_ERRKIND_WINSOCK);
        EXPECT_EQ(out.code, 10004u);
        EXPECT_LT(out.took, std::chrono::seconds(20));
    }
    pollfd entry{p.fd[0], POLLIN, 0};
    EXPECT_EQ(ox_poll(&entry, 1, 0), 0) << "a wait that begins after the interrupt";
}

std::atomic<int> g_ran{0};
void count_run(void *) { ++g_ran; }

TEST(SocketWait, QueuedCallsAndTimersRunDuringTheWait)
{
    Pair p;
    auto select_long = [&] {
        timeval ten_seconds{10, 0};
        return select_read(p.fd[0], &ten_seconds);
    };
    g_ran = 0;
    WaitOutcome out = blocked_wait(select_long, [](cairn::ThreadRecord &rec) {
        ASSERT_TRUE(cairn::queue_call(rec, count_run, nullptr));
    });
    EXPECT_EQ(g_ran.load(), 1);
    EXPECT_EQ(out.result, -1);
    EXPECT_EQ(out.err, EINTR);
    EXPECT_LT(out.took, std::chrono::seconds(8));

    g_ran = 0;
    ox_timer *timer = ox_timer_new(0, 0, count_run, nullptr, nullptr);
    ASSERT_NE(timer, nullptr);
    ASSERT_EQ(ox_timer_start(timer), 0);
    pollfd entry{p.fd[0], POLLIN, 0};
    auto start = Clock::now();
    EXPECT_EQ(ox_poll(&entry, 1, 10000), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(g_ran.load(), 1);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(8));
    ox_timer_destroy(timer);
}

std::atomic<cairn::ThreadRecord *> g_cancelled_rec{nullptr};

uint32_t select_until_cancelled(void *arg)
{
    g_cancelled_rec = cairn::thread_record();
    // The cancel skips this frame: nothing here may need a destructor.
    static ox_fd_set set;
    OX_FD_ZERO(&set);
    OX_FD_SET(*static_cast<int *>(arg), &set);
    timeval long_wait{30, 0};
    ox_select(0, &set, nullptr, nullptr, &long_wait);
    return 7;  // the cancel ends the thread inside the wait, before this
}

TEST(SocketWait, CancelEndsAThreadInsideSelect)
{
    Pair p;
    ox_thread *t = ox_thread_new(select_until_cancelled, &p.fd[0]);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(ox_thread_start(t), 0);
    await_polling(g_cancelled_rec);
    ASSERT_EQ(ox_thread_cancel(t), 0);
    uint32_t code = 0;
    ASSERT_EQ(ox_thread_join(t, &code), 0);
    EXPECT_EQ(code, 1u);
    ox_thread_destroy(t);
}

TEST(SocketWait, ReadySetsTimeoutsAndBadInput)
{
    Pair idle, busy;
    ASSERT_EQ(write(busy.fd[1], "x", 1), 1);
    auto reads = std::make_unique<ox_fd_set>(), writes = std::make_unique<ox_fd_set>();
    OX_FD_ZERO(reads.get());
    OX_FD_ZERO(writes.get());
    for (int s : {idle.fd[0], busy.fd[0]})
        OX_FD_SET(s, reads.get());
    OX_FD_SET(idle.fd[1], writes.get());
    timeval none{0, 0};
    EXPECT_EQ(ox_select(0, reads.get(), writes.get(), nullptr, &none), 2);
    EXPECT_EQ(reads->fd_count, 1u);
    EXPECT_EQ(reads->fd_array[0], busy.fd[0]);
    EXPECT_EQ(writes->fd_count, 1u);

    timeval short_wait{0, 50000};
    auto start = Clock::now();
    EXPECT_EQ(select_read(idle.fd[0], &short_wait), 0);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(50));

    pollfd entries[3] = {{-1, POLLIN, 77}, {busy.fd[0], POLLIN, 0}, {-2, POLLIN, 5}};
    EXPECT_EQ(ox_poll(entries, 3, 0), 1);
    EXPECT_EQ(entries[0].revents, 0);
    EXPECT_EQ(entries[1].revents, POLLIN);
    EXPECT_EQ(entries[2].revents, 0);

    int kind = 0;
    OX_FD_SET(999999, reads.get());
    EXPECT_EQ(ox_select(0, reads.get(), nullptr, nullptr, &none), -1);
    EXPECT_EQ(ox_error_get_last_native(&kind), 10038u);
    timeval bad{0, 2000000};
    EXPECT_EQ(ox_select(0, nullptr, nullptr, nullptr, &bad), -1);
    EXPECT_EQ(ox_error_get_last_native(&kind), 10022u);
    EXPECT_EQ(errno, EINVAL);
}

std::vector<std::string> g_notices;
void keep_notice(const char *text) { g_notices.emplace_back(text); }

std::vector<int> members(const ox_fd_set &set)
{
    return std::vector<int>(set.fd_array, set.fd_array + set.fd_count);
}

TEST(SocketSet, OrderDuplicatesClearAndOverflow)
{
    auto set = std::make_unique<ox_fd_set>();
    OX_FD_ZERO(set.get());
    for (int s : {7, 3, 9, 3, 7, 5})
        OX_FD_SET(s, set.get());
    EXPECT_EQ(members(*set), (std::vector<int>{7, 3, 9, 5}));
    EXPECT_EQ(OX_FD_ISSET(9, set.get()), 1);
    EXPECT_EQ(OX_FD_ISSET(4, set.get()), 0);
    EXPECT_EQ(OX_FD_CLR(3, set.get()), 1);
    EXPECT_EQ(members(*set), (std::vector<int>{7, 9, 5}));
    EXPECT_EQ(OX_FD_CLR(42, set.get()), 3) << "an absent socket gives the count";
    EXPECT_EQ(OX_FD_CLR(5, set.get()), 2);
    EXPECT_EQ(OX_FD_CLR(1, nullptr), -1);
    EXPECT_EQ(OX_FD_ISSET(1, nullptr), 0);
    OX_FD_SET(1, nullptr);

    OX_FD_ZERO(set.get());
    for (int s = 0; s < OX_FD_SETSIZE; ++s)
        OX_FD_SET(s, set.get());
    ASSERT_EQ(set->fd_count, 4096u);
    msg_callback_set(keep_notice);
    OX_FD_SET(100, set.get());  // a member: no notice
    EXPECT_TRUE(g_notices.empty());
    OX_FD_SET(5000, set.get());
    msg_callback_set(nullptr);
    EXPECT_EQ(set->fd_count, 4096u);
    EXPECT_EQ(OX_FD_ISSET(5000, set.get()), 0);
    ASSERT_EQ(g_notices.size(), 1u);
    EXPECT_NE(g_notices[0].find("Number of sockets exceeds set limit. (FD_SETSIZE 4096)."),
              std::string::npos)
        << g_notices[0];
    EXPECT_EQ(OX_FD_CLR(0, set.get()), 0);
    EXPECT_EQ(set->fd_array[0], 1);
    EXPECT_EQ(set->fd_array[4094], 4095);

    set->fd_count = 70000;  // a corrupted count is never followed past the array
    EXPECT_EQ(OX_FD_ISSET(-5, set.get()), 0);
    EXPECT_EQ(OX_FD_CLR(-5, set.get()), 4096);
    EXPECT_EQ(OX_FD_CLR(1, set.get()), 0);
    EXPECT_EQ(set->fd_count, 4095u);
}

}  // namespace
