// The container lock under timers: an interrupted acquisition goes on
// waiting, and while a thread holds the lock across a callback its timers
// wait until the lock is released.  (A cancel queued while a thread holds
// the lock across a callback is checked by StressCancel.)
#include <gtest/gtest.h>

#include <atomic>

#include "cairn/concurrency.h"
#include "cairn/containers.h"
#include "cairn/frame.h"
#include "../concurrency/wait_test_util.hpp"

using namespace cairn::testing;

namespace {

int g_element = 1;

ox_list *one_element_list()
{
    ox_list *l = ox_list_new(nullptr, nullptr, nullptr, nullptr, 0);
    EXPECT_NE(l, nullptr);
    EXPECT_EQ(ox_list_append(l, nullptr, &g_element), OX_SUCCESS);
    return l;
}

// A foreach callback that reports it is inside and waits for the release.
struct Inside {
    ox_event *release = ox_event_new();
    std::atomic<int> entered{0};
    std::atomic<int> left{0};
    ~Inside() { ox_event_destroy(release); }
};

void wait_inside(void *, void *arg)
{
    auto *in = static_cast<Inside *>(arg);
    in->entered.fetch_add(1);
    ox_event_wait(in->release);
    in->left.fetch_add(1);
}

struct ForeachJob {
    ox_list *list;
    Inside *inside;
};

uint32_t run_foreach(void *arg)
{
    auto *job = static_cast<ForeachJob *>(arg);
    ox_list_foreach(job->list, wait_inside, job->inside);
    ox_thread_sleep(OX_WAIT_FOREVER);  // a cancel ends the thread here
    return 0;
}

struct AppendJob {
    ox_list *list;
    std::atomic<int> fired{0};
    std::atomic<int> result{-1};
    std::atomic<int> size_seen{-1};
};

void count_fire(void *arg) { static_cast<AppendJob *>(arg)->fired.fetch_add(1); }

uint32_t append_under_timer(void *arg)
{
    auto *job = static_cast<AppendJob *>(arg);
    ox_timer *timer = ox_timer_new(20, 0, count_fire, job, nullptr);
    ox_timer_start(timer);
    job->result.store(ox_list_append(job->list, nullptr, &g_element));
    job->size_seen.store(ox_list_size(job->list));
    ox_timer_destroy(timer);
    return 0;
}

}  // namespace

TEST(ContainerLock, TimerDuringContendedWaitDoesNotSkipTheLock)
{
    ox_list *list = one_element_list();
    Inside inside;
    ForeachJob holder{list, &inside};
    ox_thread *b = ox_thread_new(run_foreach, &holder);
    ASSERT_EQ(ox_thread_start(b), OX_SUCCESS);
    ASSERT_TRUE(eventually([&] { return inside.entered.load() == 1; }));

    AppendJob appender{list};
    ox_thread *a = ox_thread_new(append_under_timer, &appender);
    ASSERT_EQ(ox_thread_start(a), OX_SUCCESS);
    // The timer keeps interrupting A's wait for the lock; A runs each
    // delivery and goes on waiting instead of changing the list under B.
    ASSERT_TRUE(eventually([&] { return appender.fired.load() >= 3; }));
    EXPECT_EQ(appender.result.load(), -1) << "the append ran while B held the list";
    EXPECT_EQ(inside.left.load(), 0);

    ox_event_signal(inside.release);
    uint32_t code = 99;
    ASSERT_EQ(ox_thread_join(a, &code), OX_SUCCESS);
    EXPECT_EQ(appender.result.load(), OX_SUCCESS);
    EXPECT_EQ(appender.size_seen.load(), 2);
    EXPECT_EQ(ox_thread_cancel(b), OX_SUCCESS);
    ASSERT_EQ(ox_thread_join(b, &code), OX_SUCCESS);
    EXPECT_EQ(code, 1u);
    EXPECT_EQ(ox_thread_destroy(a), OX_SUCCESS);
    EXPECT_EQ(ox_thread_destroy(b), OX_SUCCESS);
    EXPECT_EQ(ox_list_destroy(list), OX_SUCCESS);
}

namespace {

struct TimerInCallback {
    ox_list *list;
    std::atomic<int> fired{0};
    int fired_at_entry = -1;
    int fired_at_exit = -1;
    int sleep_result = -1;
    int appends_by_timer = 0;
};

void append_from_timer(void *arg)
{
    auto *job = static_cast<TimerInCallback *>(arg);
    job->fired.fetch_add(1);
    if (ox_list_append(job->list, nullptr, &g_element) == OX_SUCCESS)
        ++job->appends_by_timer;
}

void sleep_inside(void *, void *arg)
{
    auto *job = static_cast<TimerInCallback *>(arg);
    job->fired_at_entry = job->fired.load();
    job->sleep_result = ox_thread_sleep(100);
    job->fired_at_exit = job->fired.load();
}

uint32_t foreach_with_timer(void *arg)
{
    auto *job = static_cast<TimerInCallback *>(arg);
    ox_timer *timer = ox_timer_new(5, 0, append_from_timer, job, nullptr);
    ox_timer_start(timer);
    ox_thread_sleep(1);  // the immediate first expiry
    ox_list_foreach(job->list, sleep_inside, job);
    int after = job->fired.load();
    while (job->fired.load() == after)
        ox_thread_sleep(50);
    ox_timer_destroy(timer);
    return 0;
}

}  // namespace

TEST(ContainerLock, TimerDueDuringCallbackRunsAfterTheLockIsReleased)
{
    ox_list *list = one_element_list();
    TimerInCallback job{list};
    ox_thread *t = ox_thread_new(foreach_with_timer, &job);
    ASSERT_EQ(ox_thread_start(t), OX_SUCCESS);
    ASSERT_EQ(ox_thread_join(t, nullptr), OX_SUCCESS);
    EXPECT_GE(job.fired_at_entry, 1);
    // The callback's sleep ran its full time: no delivery under the lock.
    EXPECT_EQ(job.sleep_result, OX_SUCCESS);
    EXPECT_EQ(job.fired_at_exit, job.fired_at_entry);
    EXPECT_GT(job.fired.load(), job.fired_at_exit);
    EXPECT_EQ(ox_list_size(list), 1 + job.appends_by_timer);
    EXPECT_EQ(job.appends_by_timer, job.fired.load());
    EXPECT_EQ(ox_thread_destroy(t), OX_SUCCESS);
    EXPECT_EQ(ox_list_destroy(list), OX_SUCCESS);
}
