// Fork safety: while other threads hammer the library's process-wide locks
// (registry, timers, thread-local slots, storage keys, exit handlers,
// environment), forked children create, use and destroy every handle type
// and exit 0 within a generous deadline.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "child_exit.hpp"
#include "cairn/concurrency.h"
#include "cairn/containers.h"
#include "cairn/frame.h"

namespace {

std::atomic<bool> g_stop{false};
std::atomic<int> g_warm{0};  // hammers that finished a first round
// The step a child has reached, shared with the parent to name a hang.
volatile int *g_step = nullptr;
int g_item = 1;

void nothing() {}
void count_fire(void *arg) { ++*static_cast<int *>(arg); }
uint32_t return_eleven(void *) { return 11; }

void hammer_objects()
{
    for (bool first = true; !g_stop.load(); first = false) {
        ox_mutex *m = ox_mutex_new();
        ox_mutex_lock(m);
        ox_list *l = ox_list_new(nullptr, nullptr, nullptr, nullptr, 0);
        ox_list_append(l, nullptr, &g_item);
        ox_mutex_unlock(m);
        ox_list_destroy(l);
        ox_event_destroy(m);
        if (first)
            g_warm.fetch_add(1);
    }
}

void hammer_frame()
{
    for (unsigned n = 0; !g_stop.load(); ++n) {
        ox_threadstorage *key = ox_threadstorage_new(nullptr);
        ox_threadstorage_set(key, &g_item);
        ox_threadstorage_destroy(key);
        ox_atexit(nothing);
        ox_unatexit(nothing);
        if (n % 256 == 0)  // each change keeps the value it replaced alive
            ox_putenv("CAIRN_FORK_TEST=1");
        ox_getenv("CAIRN_FORK_TEST");
        if (n == 0)
            g_warm.fetch_add(1);
    }
}

void hammer_timers()
{
    int fired = 0;
    ox_timer *t = ox_timer_new(1, 0, count_fire, &fired, nullptr);
    ox_timer_start(t);
    ox_thread_sleep(1);
    g_warm.fetch_add(1);
    while (!g_stop.load())
        ox_thread_sleep(1);
    ox_timer_destroy(t);
}

// Everything a child does; the step that failed is its exit status.
int child_body()
{
    *g_step = 10;
    ox_mutex *m = ox_mutex_new();
    if (m == nullptr || ox_mutex_lock(m) != 0 || ox_mutex_unlock(m) != 0 || ox_event_destroy(m))
        return 10;
    *g_step = 11;
    ox_event *e = ox_event_new();
    if (e == nullptr || ox_event_signal(e) != 0 || ox_event_wait(e) != 0 || ox_event_destroy(e))
        return 11;
    *g_step = 12;
    ox_rwlock *rw = ox_rwlock_new();
    if (rw == nullptr || ox_rwlock_read_lock(rw) != 0 || ox_rwlock_unlock(rw) != 0 ||
        ox_rwlock_write_lock(rw) != 0 || ox_rwlock_unlock(rw) != 0 || ox_rwlock_destroy(rw))
        return 12;
    *g_step = 13;
    ox_semaphore *s = ox_semaphore_new(0);
    if (s == nullptr || ox_semaphore_post(s) != 0 || ox_semaphore_wait(s) != 0 ||
        ox_semaphore_destroy(s))
        return 13;
    *g_step = 14;
    ox_mtx *mtx = nullptr;
    ox_cond *cond = nullptr;
    timeval brief{0, 1000};
    if (!ox_mtx_create(&mtx) || !ox_cond_create(&cond) || !ox_mtx_lock(mtx) ||
        ox_cond_timedwait(cond, mtx, &brief) != 0 || !ox_mtx_unlock(mtx) ||
        !ox_cond_destroy(cond) || !ox_mtx_destroy(mtx))
        return 14;
    *g_step = 15;
    ox_list *l = ox_list_new(nullptr, nullptr, nullptr, nullptr, 0);
    if (l == nullptr || ox_list_append(l, nullptr, &g_item) != 0 || ox_list_size(l) != 1 ||
        ox_list_destroy(l))
        return 15;
    *g_step = 16;
    ox_array *a = ox_array_new(nullptr, nullptr, nullptr, nullptr, 0);
    if (a == nullptr || ox_array_add(a, nullptr, &g_item) < 0 || ox_array_size(a) != 1 ||
        ox_array_destroy(a))
        return 16;
    *g_step = 17;
    ox_thread *t = ox_thread_new(return_eleven, nullptr);
    uint32_t code = 0;
    if (t == nullptr || ox_thread_start(t) != 0 || ox_thread_join(t, &code) != 0 || code != 11 ||
        ox_thread_destroy(t))
        return 17;
    *g_step = 18;
    int fired = 0;
    ox_timer *timer = ox_timer_new(1, 0, count_fire, &fired, nullptr);
    if (timer == nullptr || ox_timer_start(timer) != 0)
        return 18;
    for (int i = 0; i < 1000 && fired < 2; ++i)
        ox_thread_sleep(1);
    if (fired < 2 || ox_timer_destroy(timer))
        return 18;
    *g_step = 19;
    ox_threadstorage *key = ox_threadstorage_new(nullptr);
    if (key == nullptr || ox_threadstorage_set(key, &g_item) != 0 ||
        ox_threadstorage_get(key) != &g_item || ox_threadstorage_destroy(key))
        return 19;
    *g_step = 20;
    if (ox_atexit(nothing) != 0 || ox_unatexit(nothing) != 0 || ox_putenv("CAIRN_FORK_CHILD=1"))
        return 20;
    return 0;
}

// Wait for `pid` up to `limit`; -1 (after killing it) when it hangs.
int wait_with_deadline(pid_t pid, std::chrono::milliseconds limit)
{
    auto end = std::chrono::steady_clock::now() + limit;
    int status = 0;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > end) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

TEST(Fork, ChildrenUseEveryHandleTypeWhileThreadsHammerTheLocks)
{
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "starting threads after a multi-threaded fork is outside the thread sanitizer";
#endif
#if defined(__SANITIZE_ADDRESS__)
    // This sanitizer's allocator takes no locks around fork: a child can
    // inherit its lock from a thread that allocated at the fork.
    GTEST_SKIP() << "the address sanitizer's allocator is not fork-safe";
#endif
    g_stop = false;
    std::vector<std::thread> hammers;
    hammers.emplace_back(hammer_objects);
    hammers.emplace_back(hammer_frame);
    hammers.emplace_back(hammer_timers);
    // Forks start once every hammer made its facilities (the fork of a
    // process whose threads are still creating them is not covered here).
    while (g_warm.load() < 3)
        std::this_thread::yield();
    void *shared =
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    g_step = static_cast<volatile int *>(shared);
    int hung = 0;
    for (int round = 0; round < 100 && hung < 3; ++round) {
        *g_step = 0;
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0)
            cairn::testing::child_exit(child_body());
        int status = wait_with_deadline(pid, std::chrono::seconds(20));
        if (status == -1) {
            ++hung;
            ADD_FAILURE() << "round " << round << ": the child hung at step " << *g_step;
        } else
            EXPECT_EQ(status, 0) << "round " << round;
    }
    g_stop = true;
    for (auto &h : hammers)
        h.join();
    EXPECT_EQ(hung, 0);
    munmap(shared, sizeof(int));
}
