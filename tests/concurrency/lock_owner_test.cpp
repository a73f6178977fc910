// Lock ownership outlives the owner's platform thread id: the C library
// gives the id of an ended thread to a new one, which must not inherit the
// ended thread's locks.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <functional>
#include <thread>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/rwlock_handle.hpp"
#include "concurrency/sync_handles.hpp"
#include "platform/thread_record.hpp"
#include "wait_test_util.hpp"

using namespace cairn::testing;

namespace {

void nothing(void *) {}

void *run_function(void *arg)
{
    (*static_cast<std::function<void()> *>(arg))();
    return nullptr;
}

// Run `fn` in a new platform thread and join it; the thread's id.
pthread_t run_and_join(std::function<void()> fn)
{
    pthread_t t;
    EXPECT_EQ(pthread_create(&t, nullptr, run_function, &fn), 0);
    pthread_join(t, nullptr);
    return t;
}

// Start threads until one gets `wanted` as its id, and run `fn` in that
// one.  False when the C library did not hand the id out again.
bool run_with_reused_id(pthread_t wanted, const std::function<void()> &fn)
{
    for (int attempt = 0; attempt < 200; ++attempt) {
        bool ran = false;
        run_and_join([&] {
            if (pthread_equal(pthread_self(), wanted)) {
                fn();
                ran = true;
            }
        });
        if (ran)
            return true;
    }
    return false;
}

}  // namespace

TEST(LockOwner, AThreadWithAnEndedOwnersIdOwnsNothing)
{
    ox_mutex *m = ox_mutex_new();
    ox_rwlock *rw = ox_rwlock_new();
    ox_mtx *mtx = nullptr;
    ASSERT_NE(m, nullptr);
    ASSERT_NE(rw, nullptr);
    ASSERT_EQ(ox_mtx_create(&mtx), 1);

    // Started first, so that it does not take the ended thread's id.
    std::atomic<cairn::ThreadRecord *> rec{nullptr};
    std::atomic<int> lock_result{-1};
    std::atomic<bool> done{false};
    std::atomic<bool> queued{false};
    std::thread interrupter([&] {
        // Interrupt the reused thread once it waits for the ended owner's
        // mutex, so that a correct (blocking) lock comes back.
        eventually([&] { return done.load() || m->handle->queued.load() == 1; });
        if (!done.load())
            cairn::queue_call(*rec.load(), nothing, nullptr);
        queued = true;  // the target may end now
    });
    pthread_t ended = run_and_join([&] {
        EXPECT_EQ(ox_mutex_lock(m), 0);
        EXPECT_EQ(ox_rwlock_write_lock(rw), 0);
        EXPECT_EQ(ox_mtx_lock(mtx), 1);
    });

    bool reused = run_with_reused_id(ended, [&] {
        rec = cairn::thread_record();
        EXPECT_EQ(ox_mutex_unlock(m), OX_EPERM);
        EXPECT_EQ(ox_mutex_trylock(m), OX_EAGAIN);
        lock_result = ox_mutex_lock(m);  // not a self-deadlock: it waits
        if (lock_result.load() == OX_EINTR) {
            EXPECT_TRUE(eventually([&] { return queued.load(); }));
        }

        EXPECT_EQ(ox_rwlock_unlock(rw), 0);  // neither writer nor reader
        EXPECT_NE(rw->entry->owner.load(), 0u);
        EXPECT_EQ(ox_rwlock_read_trylock(rw), OX_EAGAIN);

        EXPECT_EQ(ox_mtx_trylock(mtx), 0);  // held by the ended thread
    });
    done = true;
    interrupter.join();
    if (!reused)
        GTEST_SKIP() << "the C library did not reuse the thread id";
    EXPECT_EQ(lock_result.load(), OX_EINTR);
    EXPECT_EQ(ox_rwlock_read_trylock(rw), OX_EAGAIN);  // still the ended writer's

    // Each thread record has its own id, never handed out again.
    uint64_t mine = cairn::thread_record()->seq;
    uint64_t other = 0;
    run_and_join([&] { other = cairn::thread_record()->seq; });
    EXPECT_NE(mine, other);
    EXPECT_NE(other, 0u);

    ox_event_destroy(m);
    ox_rwlock_destroy(rw);
    ox_mtx_destroy(mtx);
}
