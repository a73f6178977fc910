// Cancellation of a thread blocked in each kind of library wait: its
// clean-up entries and storage destructors run, it ends with exit code 1,
// and the object it waited on is left consistent.
#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/time.h>

#include <atomic>
#include <functional>
#include <string>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/rwlock_handle.hpp"
#include "concurrency/sync_handles.hpp"
#include "concurrency/thread_object.hpp"
#include "platform/sync_object.hpp"
#include "wait_test_util.hpp"

using namespace cairn::testing;

namespace {

// Objects that a victim blocks on; the test thread holds the locks.
struct Blockers {
    ox_mutex *mutex = ox_mutex_new();
    ox_event *event = ox_event_new();
    ox_semaphore *semaphore = ox_semaphore_new(0);
    ox_rwlock *write_held = ox_rwlock_new();
    ox_rwlock *read_held = ox_rwlock_new();
    ox_mtx *mtx = nullptr;
    ox_mtx *cond_mtx = nullptr;
    ox_cond *cond = nullptr;
    ox_event *never = ox_event_new();
    ox_eventqueue *queue = ox_eventqueue_new(nullptr);
    ox_thread *sleeper = nullptr;

    Blockers()
    {
        ox_mtx_create(&mtx);
        ox_mtx_create(&cond_mtx);
        ox_cond_create(&cond);
        ox_mutex_lock(mutex);
        ox_rwlock_write_lock(write_held);
        ox_rwlock_read_lock(read_held);
        ox_mtx_lock(mtx);
        sleeper = ox_thread_new(wait_forever, never);
        ox_thread_start(sleeper);
    }

    ~Blockers()
    {
        ox_event_signal(never);
        ox_thread_join(sleeper, nullptr);
        ox_thread_destroy(sleeper);
        ox_mutex_unlock(mutex);
        ox_rwlock_unlock(write_held);
        ox_rwlock_unlock(read_held);
        ox_mtx_unlock(mtx);
        ox_event_destroy(mutex);
        ox_event_destroy(event);
        ox_event_destroy(never);
        ox_semaphore_destroy(semaphore);
        ox_rwlock_destroy(write_held);
        ox_rwlock_destroy(read_held);
        ox_mtx_destroy(mtx);
        ox_mtx_destroy(cond_mtx);
        ox_cond_destroy(cond);
        ox_eventqueue_destroy(queue);
    }

    static uint32_t wait_forever(void *e)
    {
        ox_event_wait(static_cast<ox_event *>(e));
        return 0;
    }
};

struct Victim {
    std::function<void()> block;
    ox_threadstorage *key = nullptr;
    std::atomic<int> step{0};
    std::atomic<int> cleanups{0};
    std::atomic<int> destructed{0};
    std::atomic<bool> returned{false};

    static void cleanup(void *p) { static_cast<Victim *>(p)->cleanups.fetch_add(1); }
    static void destroy_value(void *p) { static_cast<Victim *>(p)->destructed.fetch_add(1); }

    static uint32_t run(void *p)
    {
        auto *v = static_cast<Victim *>(p);
        ox_thread_cleanup_push(cleanup, v);
        ox_threadstorage_set(v->key, v);
        v->step = 1;
        v->block();
        v->returned = true;  // never reached: the cancel ends the thread
        return 7;
    }
};

// Whether the thread sleeps in the wait core now.
bool parked(ox_thread *t)
{
    cairn::CriticalSectionLock hold(*t->lock);
    return t->record != nullptr && t->record->park.load() == 1;
}

// Cancels the victim once it is inside its wait (or, when `parks` is false,
// once it is running its loop).
void cancel_while_blocked(const std::string &name, std::function<void()> block, bool parks = true)
{
    SCOPED_TRACE(name);
    Victim v;
    v.block = std::move(block);
    v.key = ox_threadstorage_new(Victim::destroy_value);
    ASSERT_NE(v.key, nullptr);
    ox_thread *t = ox_thread_new(Victim::run, &v);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(ox_thread_start(t), 0);
    ASSERT_TRUE(eventually([&] { return v.step.load() == 1; }));
    if (parks) {
        ASSERT_TRUE(eventually([&] { return parked(t); })) << "the victim never waited";
    }
    EXPECT_EQ(ox_thread_cancel(t), 0);
    uint32_t code = 0;
    EXPECT_EQ(ox_thread_join(t, &code), 0);
    EXPECT_EQ(code, 1u);
    EXPECT_FALSE(v.returned.load());
    EXPECT_EQ(v.cleanups.load(), 1);
    EXPECT_EQ(v.destructed.load(), 1);
    EXPECT_EQ(ox_thread_cancel(t), OX_ESRCH);  // joined: nothing to cancel
    EXPECT_EQ(ox_thread_destroy(t), 0);
    EXPECT_EQ(ox_threadstorage_destroy(v.key), 0);
}

}  // namespace

TEST(ThreadCancel, EndsAThreadBlockedInEachKindOfWait)
{
    Blockers b;
    ASSERT_NE(b.cond, nullptr);
    cancel_while_blocked("mutex", [&] { ox_mutex_lock(b.mutex); });
    cancel_while_blocked("event", [&] { ox_event_wait(b.event); });
    cancel_while_blocked("event timed", [&] { ox_event_timedwait(b.event, 600000); });
    cancel_while_blocked("semaphore", [&] { ox_semaphore_wait(b.semaphore); });
    cancel_while_blocked("reader", [&] { ox_rwlock_read_lock(b.write_held); });
    cancel_while_blocked("writer", [&] { ox_rwlock_write_lock(b.read_held); });
    cancel_while_blocked("mtx", [&] { ox_mtx_lock(b.mtx); });
    cancel_while_blocked("cond", [&] {
        ox_mtx_lock(b.cond_mtx);
        ox_cond_wait(b.cond, b.cond_mtx);
    });
    cancel_while_blocked("event queue", [&] {
        void *out = nullptr;
        ox_eventqueue_pop(b.queue, &out);
    });
    cancel_while_blocked("sleep", [] { ox_thread_sleep(OX_WAIT_FOREVER); });
    cancel_while_blocked("join", [&] { ox_thread_join(b.sleeper, nullptr); });
    cancel_while_blocked(
        "test_cancel",
        [] {
            for (;;)
                ox_thread_test_cancel();
        },
        false);

    // Every wait list is empty again and the objects still work.
    EXPECT_EQ(b.mutex->handle->queued.load(), 0);
    EXPECT_EQ(ox_semaphore_post(b.semaphore), 0);
    EXPECT_EQ(ox_semaphore_trywait(b.semaphore), 0);
    EXPECT_EQ(b.write_held->entry->queued.load(), 0);
    EXPECT_EQ(b.read_held->no_readers->queued.load(), 0);
    EXPECT_EQ(ox_mtx_trylock(b.cond_mtx), 1);  // the cond wait had released it
    // Cancelled waiters are no longer counted: a signal finds nobody, so a
    // later wait times out, and the queue keeps no interrupt for the next pop.
    EXPECT_EQ(ox_cond_signal(b.cond), 1);
    timeval short_wait{0, 20000};
    EXPECT_EQ(ox_cond_timedwait(b.cond, b.cond_mtx, &short_wait), 0);
    ox_mtx_unlock(b.cond_mtx);
    EXPECT_EQ(ox_eventqueue_signal(b.queue), 0);
    ASSERT_EQ(ox_eventqueue_push(b.queue, &b), 0);
    void *out = nullptr;
    EXPECT_EQ(ox_eventqueue_timedpop(b.queue, 1000, &out), 0);
    EXPECT_EQ(out, &b);
}

// Results before a start and after a join, and a thread object that runs
// again after a cancel ended it.
TEST(ThreadCancel, ResultsAroundARunAndARestartAfterACancel)
{
    static std::atomic<int> runs{0};
    ox_thread *t = ox_thread_new(
        [](void *) -> uint32_t {
            if (runs.fetch_add(1) == 1)
                ox_thread_sleep(OX_WAIT_FOREVER);
            return 5;
        },
        nullptr);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(ox_thread_cancel(t), OX_ESRCH);  // not started
    EXPECT_EQ(ox_error_get_last_native(nullptr), static_cast<uint32_t>(ESRCH));
    t->cancel_ignore = 1;
    EXPECT_EQ(ox_thread_cancel(t), 0);  // accepted and ignored
    ASSERT_EQ(ox_thread_start(t), 0);   // a start clears the flag
    EXPECT_EQ(t->cancel_ignore, 0);
    uint32_t code = 0;
    EXPECT_EQ(ox_thread_join(t, &code), 0);
    EXPECT_EQ(code, 5u);
    EXPECT_EQ(ox_thread_cancel(t), OX_ESRCH);

    ASSERT_EQ(ox_thread_start(t), 0);
    ASSERT_TRUE(eventually([] { return runs.load() == 2; }));
    ASSERT_EQ(ox_thread_cancel(t), 0);
    ASSERT_TRUE(eventually([&] { return thread_state(t) == cairn::kThreadCancelled; }));
    EXPECT_EQ(ox_thread_tryjoin(t, &code), 0);
    EXPECT_EQ(code, 1u);
    ASSERT_EQ(ox_thread_start(t), 0);
    EXPECT_EQ(ox_thread_join(t, &code), 0);
    EXPECT_EQ(code, 5u);
    EXPECT_EQ(ox_thread_destroy(t), 0);
}

namespace {

struct Adopted {
    std::atomic<ox_thread *> self{nullptr};
    std::atomic<int> cleanups{0};
    std::atomic<bool> returned{false};
    ox_event *never = ox_event_new();
};

void *adopted_main(void *p)
{
    auto *a = static_cast<Adopted *>(p);
    ox_thread_cleanup_push([](void *q) { static_cast<Adopted *>(q)->cleanups.fetch_add(1); }, a);
    a->self = ox_thread_self();
    ox_event_wait(a->never);
    a->returned = true;
    return nullptr;
}

}  // namespace

TEST(ThreadCancel, EndsAThreadTheLibraryDidNotCreate)
{
    Adopted a;
    pthread_t tid;
    ASSERT_EQ(pthread_create(&tid, nullptr, adopted_main, &a), 0);
    ASSERT_TRUE(eventually([&] { return a.self.load() != nullptr; }));
    ASSERT_EQ(ox_object_reference(a.self), 0);  // keep the object to look at it
    EXPECT_EQ(ox_thread_cancel(a.self), 0);
    ASSERT_EQ(pthread_join(tid, nullptr), 0);
    EXPECT_FALSE(a.returned.load());
    EXPECT_EQ(a.cleanups.load(), 1);
    EXPECT_EQ(thread_state(a.self), cairn::kThreadCancelled);
    uint32_t code = 0;
    EXPECT_EQ(ox_thread_join(a.self, &code), 0);
    EXPECT_EQ(code, 1u);
    EXPECT_EQ(ox_thread_destroy(a.self), 0);
    ox_event_destroy(a.never);
}
