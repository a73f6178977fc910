// Cancels of threads blocked in every kind of library wait, once they sleep
// in it and at random moments: each victim ends with exit code 1 through
// its clean-up entries and storage destructors, and leaves the object it
// waited on as if it had never waited (its wait list empty again).
#include "stress_support.hpp"

#include <sys/time.h>

#include "cairn/containers.h"
#include "cairn/frame.h"
#include "concurrency/rwlock_handle.hpp"
#include "concurrency/sync_handles.hpp"
#include "concurrency/thread_object.hpp"
#include "platform/sync_object.hpp"

namespace cairn::stress {
namespace {

struct Scene {
    ox_mutex *mutex = ox_mutex_new();
    ox_event *event = ox_event_new();
    ox_semaphore *semaphore = ox_semaphore_new(0);
    ox_rwlock *rw = ox_rwlock_new();
    ox_mtx *mtx = nullptr;
    ox_mtx *cond_mtx = nullptr;
    ox_cond *cond = nullptr;
    ox_event *release = ox_event_new();  // ends the joined thread and callbacks
    ox_thread *joined = nullptr;
    ox_list *list = ox_list_new(nullptr, nullptr, nullptr, nullptr, 0);
    ox_eventqueue *queue = ox_eventqueue_new(nullptr);
    ox_threadstorage *key =
        ox_threadstorage_new([](void *s) { ++static_cast<Scene *>(s)->destructed; });
    std::atomic<int> cleanups{0};
    std::atomic<int> destructed{0};
    std::atomic<int> foreach_returned{0};

    Scene()
    {
        ox_mtx_create(&mtx);
        ox_mtx_create(&cond_mtx);
        ox_cond_create(&cond);
        ox_list_append(list, nullptr, reinterpret_cast<void *>(1));
    }
    ~Scene()
    {
        ox_event_destroy(mutex);
        ox_event_destroy(event);
        ox_event_destroy(release);
        ox_semaphore_destroy(semaphore);
        ox_rwlock_destroy(rw);
        ox_mtx_destroy(mtx);
        ox_mtx_destroy(cond_mtx);
        ox_cond_destroy(cond);
        ox_list_destroy(list);
        ox_eventqueue_destroy(queue);
        ox_threadstorage_destroy(key);
    }
};

uint32_t wait_for_release(void *arg)
{
    ox_event_wait(static_cast<ox_event *>(arg));
    return 7;
}

// The list's lock is held in the callback; a cancel must wait until it is
// released.
void wait_in_callback(void *, void *arg) { ox_event_wait(static_cast<Scene *>(arg)->release); }

void release_rwlock_and_check(Scene &s)
{
    EXPECT_EQ(s.rw->entry->queued.load(), 0);
    EXPECT_EQ(s.rw->no_readers->queued.load(), 0);
    ASSERT_EQ(ox_rwlock_unlock(s.rw), 0);
    EXPECT_EQ(ox_rwlock_read_trylock(s.rw), 0);  // no writer left pending
    EXPECT_EQ(ox_rwlock_unlock(s.rw), 0);
    EXPECT_EQ(ox_rwlock_write_trylock(s.rw), 0);  // no reader left counted
    EXPECT_EQ(ox_rwlock_unlock(s.rw), 0);
}

void nothing(Scene &) {}

void check_event(Scene &s)  // a signal is kept for the next waiter, not swallowed
{
    ASSERT_EQ(ox_event_signal(s.event), 0);
    EXPECT_EQ(ox_event_timedwait(s.event, 0), 0);
}

// Per kind of wait: what the test thread holds so that the victim blocks,
// one round of the victim's wait, and the check that the victim left
// nothing behind.  The last kinds never sleep in a wait.
struct Kind {
    const char *name;
    void (*hold)(Scene &);
    void (*block)(Scene &);
    void (*check)(Scene &);
};

const Kind kKinds[] = {
    {"mutex", [](Scene &s) { ASSERT_EQ(ox_mutex_lock(s.mutex), 0); },
     [](Scene &s) {
         if (ox_mutex_lock(s.mutex) == 0)
             ox_mutex_unlock(s.mutex);
     },
     [](Scene &s) {  // the dead waiter was not handed the mutex
         EXPECT_EQ(s.mutex->handle->queued.load(), 0);
         ASSERT_EQ(ox_mutex_unlock(s.mutex), 0);
         EXPECT_EQ(ox_mutex_trylock(s.mutex), 0);
         EXPECT_EQ(ox_mutex_unlock(s.mutex), 0);
     }},
    {"event", nothing, [](Scene &s) { ox_event_wait(s.event); }, check_event},
    {"event timed", nothing, [](Scene &s) { ox_event_timedwait(s.event, 600000); }, check_event},
    {"semaphore", nothing,
     [](Scene &s) {
         if (ox_semaphore_wait(s.semaphore) == 0)
             ox_semaphore_post(s.semaphore);
     },
     [](Scene &s) {
         ASSERT_EQ(ox_semaphore_post(s.semaphore), 0);
         EXPECT_EQ(ox_semaphore_trywait(s.semaphore), 0);
         EXPECT_NE(ox_semaphore_trywait(s.semaphore), 0);
     }},
    {"read lock", [](Scene &s) { ASSERT_EQ(ox_rwlock_write_lock(s.rw), 0); },
     [](Scene &s) {
         if (ox_rwlock_read_lock(s.rw) == 0)
             ox_rwlock_unlock(s.rw);
     },
     release_rwlock_and_check},
    {"write lock", [](Scene &s) { ASSERT_EQ(ox_rwlock_read_lock(s.rw), 0); },
     [](Scene &s) {
         if (ox_rwlock_write_lock(s.rw) == 0)
             ox_rwlock_unlock(s.rw);
     },
     release_rwlock_and_check},
    {"cond", nothing,
     [](Scene &s) {
         ox_mtx_lock(s.cond_mtx);
         ox_cond_wait(s.cond, s.cond_mtx);
         ox_mtx_unlock(s.cond_mtx);
     },
     [](Scene &s) {  // no waiter left counted: a signal now wakes nobody later
         EXPECT_EQ(ox_cond_signal(s.cond), 1);
         EXPECT_EQ(ox_mtx_lock(s.cond_mtx), 1);
         struct timeval rel = {0, 20000};
         EXPECT_EQ(ox_cond_timedwait(s.cond, s.cond_mtx, &rel), 0);
         EXPECT_EQ(ox_mtx_unlock(s.cond_mtx), 1);
     }},
    {"mtx", [](Scene &s) { ASSERT_EQ(ox_mtx_lock(s.mtx), 1); },
     [](Scene &s) {
         if (ox_mtx_lock(s.mtx) == 1)
             ox_mtx_unlock(s.mtx);
     },
     [](Scene &s) {
         EXPECT_EQ(ox_mtx_unlock(s.mtx), 1);
         EXPECT_EQ(ox_mtx_trylock(s.mtx), 1);
         EXPECT_EQ(ox_mtx_unlock(s.mtx), 1);
     }},
    {"join",
     [](Scene &s) {
         s.joined = ox_thread_new(wait_for_release, s.release);
         ASSERT_EQ(ox_thread_start(s.joined), 0);
     },
     [](Scene &s) { ox_thread_join(s.joined, nullptr); },
     [](Scene &s) {  // the dead joiner did not consume the join
         ASSERT_EQ(ox_event_signal(s.release), 0);
         uint32_t code = 0;
         EXPECT_EQ(ox_thread_join(s.joined, &code), 0);
         EXPECT_EQ(code, 7u);
         EXPECT_EQ(ox_thread_destroy(s.joined), 0);
     }},
    {"sleep", nothing, [](Scene &) { ox_thread_sleep(OX_WAIT_FOREVER); }, nothing},
    {"foreach callback", nothing,
     [](Scene &s) {
         ox_list_foreach(s.list, wait_in_callback, &s);
         ++s.foreach_returned;
         ox_thread_test_cancel();
     },
     [](Scene &s) {  // the list is not left locked by a dead thread
         void *data = nullptr;
         EXPECT_EQ(ox_list_push(s.list, &s), 0);  // each takes the list's lock
         EXPECT_EQ(ox_list_pop(s.list, &data), 0);
         EXPECT_EQ(data, &s);
         EXPECT_EQ(ox_list_size(s.list), 1);
     }},
    {"event queue", nothing,
     [](Scene &s) {
         void *out = nullptr;
         ox_eventqueue_pop(s.queue, &out);
     },
     [](Scene &s) {  // no interrupt kept for the next pop
         EXPECT_EQ(ox_eventqueue_signal(s.queue), 0);
         ASSERT_EQ(ox_eventqueue_push(s.queue, &s), 0);
         void *out = nullptr;
         EXPECT_EQ(ox_eventqueue_timedpop(s.queue, 1000, &out), 0);
         EXPECT_EQ(out, &s);
     }},
    {"test_cancel", nothing, [](Scene &) { ox_thread_test_cancel(); }, nothing},
};
const Kind &kForeach = kKinds[10];
const Kind &kNeverSleeps = kKinds[12];

// Whether the thread sleeps in the wait core now.
bool parked(ox_thread *t)
{
    cairn::CriticalSectionLock hold(*t->lock);
    return t->record != nullptr && t->record->park.load() == 1;
}

struct Victim {
    Scene *scene;
    const Kind *kind;
    std::atomic<bool> running{false};
};

uint32_t victim_main(void *arg)
{
    auto *v = static_cast<Victim *>(arg);
    ox_thread_cleanup_push([](void *s) { ++static_cast<Scene *>(s)->cleanups; }, v->scene);
    ox_threadstorage_set(v->scene->key, v->scene);
    v->running.store(true);
    for (;;)  // only a cancel ends this thread
        v->kind->block(*v->scene);
}

TEST(StressCancel, VictimsInEveryKindOfWait)
{
    Watchdog dog(300);
    Scene s;
    set_thread_start_pause(false);
    const int rounds = ops(300) > 10 ? ops(300) : 10;
    Rng rng(41);
    for (int round = 0; round < rounds; ++round) {
        for (const Kind &kind : kKinds) {
            SCOPED_TRACE(::testing::Message() << kind.name << " round " << round);
            kind.hold(s);
            Victim v{&s, &kind, {}};
            ox_thread *t = ox_thread_new(victim_main, &v);
            ASSERT_NE(t, nullptr);
            int before = s.cleanups.load(), destructed = s.destructed.load();
            int foreach_returned = s.foreach_returned.load();
            ASSERT_EQ(ox_thread_start(t), 0);
            while (!v.running.load())  // a cancel needs a running thread
                std::this_thread::yield();
            // Even rounds cancel a victim that sleeps in its wait; odd ones
            // before, during or after it starts to wait: it ends at its next
            // alertable wait in every case.
            if (round % 2 == 0 && &kind < &kNeverSleeps) {
                while (!parked(t))
                    std::this_thread::yield();
            }
            for (uint32_t spin = round % 2 ? rng() % 20000 : 0; spin > 0; --spin)
                std::atomic_signal_fence(std::memory_order_seq_cst);
            ASSERT_EQ(ox_thread_cancel(t), 0);
            if (&kind == &kForeach) {
                // The cancel waits for the callback; let it return.
                ox_thread_sleep(rng() % 3);
                if (round % 2 == 0) {
                    EXPECT_EQ(ox_thread_tryjoin(t, nullptr), OX_EBUSY);
                }
                ASSERT_EQ(ox_event_signal(s.release), 0);
            }
            uint32_t code = 0;
            ASSERT_EQ(ox_thread_join(t, &code), 0);
            EXPECT_EQ(code, 1u);
            EXPECT_EQ(s.cleanups.load(), before + 1);
            EXPECT_EQ(s.destructed.load(), destructed + 1);
            if (&kind == &kForeach && round % 2 == 0) {
                // Cancelled inside the callback, under the list's lock: the
                // cancel waited for the foreach to return.
                EXPECT_EQ(s.foreach_returned.load(), foreach_returned + 1);
            }
            EXPECT_EQ(ox_thread_cancel(t), OX_ESRCH);  // joined: nothing to cancel
            EXPECT_EQ(ox_thread_destroy(t), 0);
            // The callback may have been released after the cancel took effect
            // elsewhere: consume a leftover signal.
            if (&kind == &kForeach)
                ox_event_timedwait(s.release, 0);
            kind.check(s);
        }
    }
    set_thread_start_pause(true);
}

}  // namespace
}  // namespace cairn::stress
