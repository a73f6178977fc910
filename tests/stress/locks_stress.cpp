// Locks, events and semaphores under eight threads: every count conserved,
// every lock released at the end.
#include "stress_support.hpp"

#include <sys/time.h>

#include "cairn/frame.h"
#include "concurrency/sync_handles.hpp"

namespace cairn::stress {
namespace {

TEST(StressLocks, MutexCountsEveryIncrement)
{
    Watchdog dog(240);
    ox_mutex *m = ox_mutex_new();
    ASSERT_NE(m, nullptr);
    const int n = ops();
    long counter = 0;  // plain: only the mutex protects it
    std::atomic<int> refused{0};
    run_threads(kThreads, [&](int i) {
        Rng rng(i + 1);
        for (int k = 0; k < n; ++k) {
            if (rng() % 4 == 0) {
                int r = ox_mutex_trylock(m);
                if (r != 0) {
                    ASSERT_EQ(r, OX_EAGAIN);
                    ++refused;
                    --k;
                    continue;
                }
            } else {
                ASSERT_EQ(ox_mutex_lock(m), 0);
            }
            ++counter;
            ASSERT_EQ(ox_mutex_unlock(m), 0);
        }
    });
    EXPECT_EQ(counter, static_cast<long>(n) * kThreads);
    EXPECT_EQ(m->handle->queued.load(), 0);  // no waiter left on the wait list
    // Released: a fresh thread can take it, and unlocking it again fails.
    EXPECT_EQ(ox_mutex_trylock(m), 0);
    EXPECT_EQ(ox_mutex_unlock(m), 0);
    EXPECT_NE(ox_mutex_unlock(m), 0);
    EXPECT_EQ(ox_event_destroy(m), 0);
}

TEST(StressLocks, ReadersNeverSeeAHalfWrite)
{
    Watchdog dog(240);
    ox_rwlock *rw = ox_rwlock_new();
    ASSERT_NE(rw, nullptr);
    const int n = ops(20000);
    long a = 0, b = 0;
    std::atomic<long> writes{0}, torn{0};
    run_threads(kThreads, [&](int i) {
        Rng rng(i + 11);
        for (int k = 0; k < n; ++k) {
            uint32_t pick = rng() % 10;
            if (pick < 2) {
                int r = pick == 0 ? ox_rwlock_write_trylock(rw) : ox_rwlock_write_lock(rw);
                if (r != 0)
                    continue;
                ++a;
                std::atomic_signal_fence(std::memory_order_seq_cst);
                ++b;
                ++writes;
            } else {
                int r = pick == 2 ? ox_rwlock_read_trylock(rw) : ox_rwlock_read_lock(rw);
                if (r != 0)
                    continue;
                if (a != b)
                    ++torn;
            }
            ASSERT_EQ(ox_rwlock_unlock(rw), 0);
        }
    });
    EXPECT_EQ(torn.load(), 0);
    EXPECT_EQ(a, writes.load());
    EXPECT_EQ(b, writes.load());
    EXPECT_GT(writes.load(), 0);
    // Nothing left held: a write lock is free for the taking.
    EXPECT_EQ(ox_rwlock_write_trylock(rw), 0);
    EXPECT_EQ(ox_rwlock_unlock(rw), 0);
    EXPECT_EQ(ox_rwlock_destroy(rw), 0);
}

TEST(StressLocks, SemaphoreUnitsAreConserved)
{
    Watchdog dog(240);
    ox_semaphore *s = ox_semaphore_new(0);
    ASSERT_NE(s, nullptr);
    const int n = ops();
    std::atomic<long> taken{0};
    // Half the threads post, half take the same number of units, some with
    // time-outs that retry.
    run_threads(kThreads, [&](int i) {
        Rng rng(i + 21);
        for (int k = 0; k < n; ++k) {
            if (i % 2 == 0) {
                ASSERT_EQ(ox_semaphore_post(s), 0);
                continue;
            }
            int r;
            switch (rng() % 3) {
            case 0:
                r = ox_semaphore_trywait(s);
                break;
            case 1:
                r = ox_semaphore_timedwait(s, 1);
                break;
            default:
                r = ox_semaphore_wait(s);
            }
            if (r == 0)
                ++taken;
            else
                --k;
        }
    });
    EXPECT_EQ(taken.load(), static_cast<long>(n) * (kThreads / 2));
    EXPECT_NE(ox_semaphore_trywait(s), 0);  // no unit left over or invented
    EXPECT_EQ(ox_semaphore_destroy(s), 0);
}

TEST(StressLocks, EventHandoffsAreNeverLost)
{
    Watchdog dog(240);
    // Four pairs pass a baton back and forth through two auto-reset events.
    const int rounds = ops(20000);
    std::vector<ox_event *> events(kThreads);
    for (auto &e : events)
        ASSERT_NE(e = ox_event_new(), nullptr);
    std::vector<long> counts(kThreads, 0);
    run_threads(kThreads, [&](int i) {
        ox_event *mine = events[i];
        ox_event *peer = events[i ^ 1];
        for (int k = 0; k < rounds; ++k) {
            if ((i & 1) == 0) {
                ASSERT_EQ(ox_event_signal(peer), 0);
                ASSERT_EQ(ox_event_wait(mine), 0);
            } else {
                ASSERT_EQ(ox_event_wait(mine), 0);
                ASSERT_EQ(ox_event_signal(peer), 0);
            }
            ++counts[i];
        }
    });
    for (int i = 0; i < kThreads; ++i)
        EXPECT_EQ(counts[i], rounds);
    for (auto *e : events) {
        EXPECT_EQ(ox_event_timedwait(e, 0), OX_ETIMEDOUT);  // nothing left signalled
        EXPECT_EQ(ox_event_destroy(e), 0);
    }
}

TEST(StressLocks, ConditionQueueConservesItems)
{
    Watchdog dog(240);
    ox_mtx *m = nullptr;
    ox_cond *not_empty = nullptr;
    ASSERT_EQ(ox_mtx_create(&m), 1);
    ASSERT_EQ(ox_cond_create(&not_empty), 1);
    const int n = ops(20000);
    long queued = 0, produced = 0, consumed = 0;
    run_threads(kThreads, [&](int i) {
        for (int k = 0; k < n; ++k) {
            ASSERT_EQ(ox_mtx_lock(m), 1);
            if (i % 2 == 0) {
                ++queued;
                ++produced;
                ox_cond_signal(not_empty);
            } else {
                // Consumers wait with a short time-out: a signal sent while no
                // consumer waits is not kept, so they re-check the count.
                while (queued == 0) {
                    struct timeval rel = {0, 2000};
                    ox_cond_timedwait(not_empty, m, &rel);
                }
                --queued;
                ++consumed;
            }
            ASSERT_EQ(ox_mtx_unlock(m), 1);
        }
    });
    EXPECT_EQ(produced, static_cast<long>(n) * (kThreads / 2));
    EXPECT_EQ(consumed, produced);
    EXPECT_EQ(queued, 0);
    EXPECT_EQ(ox_mtx_trylock(m), 1);
    EXPECT_EQ(ox_mtx_unlock(m), 1);
    ox_cond_destroy(not_empty);
    ox_mtx_destroy(m);
}

}  // namespace
}  // namespace cairn::stress
