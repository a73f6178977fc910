// ox_mutex and ox_event: their results, the destroy pattern, and their
// invariants under contention.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/sync_handles.hpp"
#include "wait_test_util.hpp"

using namespace cairn::testing;

namespace {

int last_native(int *kind) { return static_cast<int>(ox_error_get_last_native(kind)); }

// Whether `n` threads sleep in the event's platform wait list.
bool parked(ox_event *e, int n) { return e->handle->queued.load() == n; }

}  // namespace

TEST(Mutex, ResultsOfMisuseAndNullHandles)
{
    ox_mutex *m = ox_mutex_new();
    ASSERT_NE(m, nullptr);
    ASSERT_EQ(ox_mutex_lock(m), 0);

    int kind = 0;
    EXPECT_EQ(ox_mutex_lock(m), OX_EDEADLK);  // not recursive, and says so
    EXPECT_EQ(last_native(&kind), EDEADLK);
    EXPECT_EQ(kind, OX_ERRKIND_ERRNO);
    EXPECT_EQ(ox_mutex_trylock(m), OX_EAGAIN);  // no self test: simply busy
    EXPECT_EQ(last_native(&kind), EAGAIN);

    std::thread other([&] {
        EXPECT_EQ(ox_mutex_unlock(m), OX_EPERM);
        EXPECT_EQ(ox_error_get_last_native(nullptr), static_cast<uint32_t>(EPERM));
        EXPECT_EQ(ox_mutex_trylock(m), OX_EAGAIN);
    });
    other.join();

    EXPECT_EQ(ox_mutex_unlock(m), 0);
    EXPECT_EQ(ox_mutex_unlock(m), OX_EPERM);  // no longer the owner
    // Destroy drops one reference at a time: with one left it still works,
    // and the registry's destructor frees it on the last.
    ASSERT_EQ(ox_object_reference(m), 0);
    EXPECT_EQ(ox_event_destroy(m), 0);
    EXPECT_EQ(ox_mutex_trylock(m), 0);
    EXPECT_EQ(ox_mutex_unlock(m), 0);
    EXPECT_EQ(ox_object_unreference(m), 0);

    // NULL handles, of the event calls too.
    const struct {
        const char *name;
        int (*call)();
    } cases[] = {
        {"lock", [] { return ox_mutex_lock(nullptr); }},
        {"trylock", [] { return ox_mutex_trylock(nullptr); }},
        {"unlock", [] { return ox_mutex_unlock(nullptr); }},
        {"signal", [] { return ox_event_signal(nullptr); }},
        {"broadcast", [] { return ox_event_broadcast(nullptr); }},
        {"wait", [] { return ox_event_wait(nullptr); }},
        {"timedwait", [] { return ox_event_timedwait(nullptr, 5); }},
        {"destroy", [] { return ox_event_destroy(nullptr); }},
    };
    for (const auto &c : cases) {
        ox_error_set_last(0, OX_ERRKIND_ERRNO);
        EXPECT_EQ(c.call(), OX_ENULL) << c.name;
        EXPECT_EQ(ox_error_get_last(), OX_EINVAL) << c.name;
    }
}

// Threads that each wait on `e` once and count their wake-ups.
struct Waiters {
    std::atomic<int> woken{0};
    std::vector<std::thread> threads;
    Waiters(ox_event *e, int n)
    {
        for (int i = 0; i < n; ++i)
            threads.emplace_back([this, e] {
                EXPECT_EQ(ox_event_wait(e), 0);
                woken.fetch_add(1);
            });
        EXPECT_TRUE(eventually([&] { return parked(e, n); }));
    }
    ~Waiters()
    {
        for (auto &t : threads)
            t.join();
    }
};

TEST(Event, SignalBroadcastAndATimedOutWaiter)
{
    // A broadcast with nobody waiting has no effect; one with waiters
    // reaches every one and is not remembered.  (The state is read directly:
    // a wait that timed out would stay counted and change what a broadcast
    // does.)
    ox_event *b = ox_event_new();
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(ox_event_broadcast(b), 0);
    EXPECT_EQ(b->handle->count.load(), 0);
    {
        Waiters three(b, 3);
        EXPECT_EQ(ox_event_broadcast(b), 0);
    }
    EXPECT_EQ(b->waiters.load(), 0);
    EXPECT_EQ(b->handle->count.load(), 0);  // nothing left over
    EXPECT_EQ(ox_event_timedwait(b, 0), OX_ETIMEDOUT);
    EXPECT_EQ(ox_event_destroy(b), 0);

    ox_event *e = ox_event_new();
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(ox_event_signal(e), 0);
    EXPECT_EQ(ox_event_timedwait(e, 0), 0);             // remembered for the next wait
    EXPECT_EQ(ox_event_timedwait(e, 0), OX_ETIMEDOUT);  // and consumed
    int kind = 0;
    EXPECT_EQ(ox_error_get_last_native(&kind), 258u);
    EXPECT_EQ(kind, OX_ERRKIND_WIN32);
    // A signal releases exactly one waiter.
    {
        Waiters two(e, 2);
        ox_event_signal(e);
        ASSERT_TRUE(eventually([&] { return two.woken.load() == 1; }));
        EXPECT_TRUE(parked(e, 1));
        ox_event_signal(e);
    }
    // The waiter that timed out above stays counted, so a broadcast
    // overflows: the real waiter passes it on and the event is left
    // signalled.
    EXPECT_EQ(e->waiters.load(), 1);
    {
        Waiters one(e, 1);
        EXPECT_EQ(ox_event_broadcast(e), 0);
    }
    EXPECT_EQ(ox_event_timedwait(e, 0), 0);
    // A plain signal ends the broadcast chain.
    EXPECT_EQ(ox_event_signal(e), 0);
    EXPECT_EQ(ox_event_timedwait(e, 0), 0);
    EXPECT_EQ(ox_event_timedwait(e, 0), OX_ETIMEDOUT);
    EXPECT_EQ(ox_event_destroy(e), 0);
}

// Mutual exclusion and event hand-overs under contention are checked by the
// stress program (StressLocks).
