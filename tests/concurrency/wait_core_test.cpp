// The alertable wait core: queued calls interrupt waits and run in the
// waiting thread, objects are tested before calls run, calls do not nest,
// due work shortens a wait, and no grant is lost to a time-out.
#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/sync_handles.hpp"
#include "concurrency/thread_object.hpp"
#include "platform/alloc_testing.hpp"
#include "platform/futex.hpp"
#include "platform/sync_object.hpp"
#include "platform/thread_record.hpp"
#include "platform/yield.hpp"
#include "wait_test_util.hpp"

using namespace cairn;
using namespace cairn::testing;

namespace {

struct CallLog {
    std::vector<int> order;
    pthread_t ran_in{};
};

struct Call {
    CallLog *log;
    int id;
};

void logged_call(void *p)
{
    auto *c = static_cast<Call *>(p);
    c->log->order.push_back(c->id);
    c->log->ran_in = pthread_self();
}

void nothing(void *) {}

// A thread that publishes its record, runs `body`, and stays alive (so
// does its record) until the test is done with it.
class WaitingThread {
public:
    template <typename Body>
    explicit WaitingThread(Body body)
        : thread_([this, body] {
              rec_ = thread_record();
              body();
              EXPECT_TRUE(eventually([this] { return leave_.load(); }));
          })
    {
        EXPECT_TRUE(eventually([this] { return rec_.load() != nullptr; }));
    }
    ~WaitingThread()
    {
        leave_ = true;
        thread_.join();
    }
    ThreadRecord &rec() { return *rec_.load(); }
    pthread_t id() { return thread_.native_handle(); }

private:
    std::atomic<ThreadRecord *> rec_{nullptr};
    std::atomic<bool> leave_{false};
    std::thread thread_;
};

struct Nested {
    ThreadRecord *rec;
    CallLog *log;
    int inner_sleep = -1;
};

// A call that waits while another call is queued: the inner wait is not
// interrupted, the other call runs after this one.
void call_that_waits(void *p)
{
    auto *n = static_cast<Nested *>(p);
    static Call later{nullptr, 2};
    later.log = n->log;
    queue_call(*n->rec, logged_call, &later);
    n->log->order.push_back(1);
    n->inner_sleep = ox_thread_sleep(1);
}

std::atomic<int> g_due_runs{0};
std::atomic<bool> g_due_does_work{true};

bool due_runner(ThreadRecord &rec, uint64_t)
{
    g_due_runs.fetch_add(1);
    rec.next_due_ns.store(kNoDeadline);
    return g_due_does_work.load();
}

}  // namespace

TEST(WaitCore, QueuedCallsInterruptTheWaitAndRunInTheWaitingThread)
{
    ox_event *e = ox_event_new();
    ASSERT_NE(e, nullptr);
    CallLog log;
    Call first{&log, 1}, second{&log, 2};
    std::atomic<int> result{-1};
    {
        WaitingThread w([&] { result = ox_event_wait(e); });
        ASSERT_TRUE(eventually([&] { return e->handle->queued.load() == 1; }));
        ASSERT_TRUE(queue_call(w.rec(), logged_call, &first));
        ASSERT_TRUE(eventually([&] { return result.load() != -1; }));
        EXPECT_TRUE(pthread_equal(log.ran_in, w.id()));
    }
    EXPECT_EQ(result.load(), OX_EINTR);
    EXPECT_EQ(e->handle->queued.load(), 0);

    // Calls queued before a wait run at its start, oldest first, all of them.
    log.order.clear();
    std::atomic<int> step{0};
    {
        WaitingThread w([&] {
            ASSERT_TRUE(eventually([&] { return step.load() == 1; }));
            result = ox_thread_sleep(OX_WAIT_FOREVER);
            EXPECT_EQ(ox_error_get_last_native(nullptr), static_cast<uint32_t>(EINTR));
        });
        ASSERT_TRUE(queue_call(w.rec(), logged_call, &first));
        ASSERT_TRUE(queue_call(w.rec(), logged_call, &second));
        step = 1;
    }
    EXPECT_EQ(result.load(), OX_EINTR);
    EXPECT_EQ(log.order, (std::vector<int>{1, 2}));
    ox_event_destroy(e);
}

TEST(WaitCore, CallsQueuedOnTheWaitersOwnThread)
{
    ox_event *e = ox_event_new();
    ASSERT_NE(e, nullptr);
    ThreadRecord &self = *thread_record();
    CallLog log;
    Call call{&log, 1};
    ox_event_signal(e);
    ASSERT_TRUE(queue_call(self, logged_call, &call));
    EXPECT_EQ(ox_event_timedwait(e, 0), 0);  // signalled: taken, call kept
    EXPECT_TRUE(log.order.empty());
    EXPECT_EQ(ox_event_timedwait(e, 0), OX_EINTR);  // now the call runs
    EXPECT_EQ(log.order.size(), 1u);
    EXPECT_EQ(ox_event_timedwait(e, 0), OX_ETIMEDOUT);
    EXPECT_EQ(ox_thread_sleep(0), 0);

    // alertable_yield (used by once-guards) runs pending calls too.
    ASSERT_TRUE(queue_call(self, logged_call, &call));
    alertable_yield();
    EXPECT_EQ(log.order.size(), 2u);
    ox_event_destroy(e);

    // Calls do not nest: a call that waits is not interrupted by another.
    log.order.clear();
    Nested n{&self, &log};
    ASSERT_TRUE(queue_call(self, call_that_waits, &n));
    EXPECT_EQ(ox_thread_sleep(10), OX_EINTR);
    EXPECT_EQ(n.inner_sleep, 0);
    EXPECT_EQ(log.order, (std::vector<int>{1, 2}));
    // Held calls wait for the hold to end.
    Call third{&log, 3};
    ASSERT_TRUE(queue_call(self, logged_call, &third));
    {
        QueuedCallsHeld held;
        EXPECT_EQ(ox_thread_sleep(1), 0);
    }
    EXPECT_EQ(log.order.size(), 2u);
    EXPECT_EQ(ox_thread_sleep(1), OX_EINTR);
    EXPECT_EQ(log.order.size(), 3u);

    // Queuing fails cleanly when memory runs out: nothing is queued.
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    alloc_fail_at(1);
    EXPECT_FALSE(queue_call(self, nothing, nullptr));
    alloc_fail_at(0);
    EXPECT_EQ(ox_error_get_last(), OX_ENOMEM);
    EXPECT_EQ(ox_thread_sleep(0), 0);
}

TEST(WaitCore, DueWorkShortensAWaitAndInterruptsOnlyWhenItRan)
{
    set_due_work_runner(due_runner);
    ThreadRecord &self = *thread_record();
    g_due_runs = 0;
    g_due_does_work = true;
    note_due(self, monotonic_ns() + 20000000);
    double took = elapsed_ms([] { EXPECT_EQ(ox_thread_sleep(60000), OX_EINTR); });
    EXPECT_GE(took, 20.0);
    EXPECT_LT(took, 20.0 + kLateMarginMs);
    EXPECT_EQ(g_due_runs.load(), 1);

    // Due work that finds nothing to do lets the wait run its full time.
    g_due_does_work = false;
    note_due(self, monotonic_ns() + 5000000);
    took = elapsed_ms([] { EXPECT_EQ(ox_thread_sleep(40), 0); });
    EXPECT_GE(took, 40.0);
    EXPECT_EQ(g_due_runs.load(), 2);

    // Due work noted from another thread wakes a sleeper at once.
    g_due_does_work = true;
    std::atomic<int> result{-1};
    {
        WaitingThread w([&] { result = ox_thread_sleep(OX_WAIT_FOREVER); });
        ASSERT_TRUE(eventually([&] { return w.rec().park.load() == 1; }));
        note_due(w.rec(), 0);
    }
    EXPECT_EQ(result.load(), OX_EINTR);
    set_due_work_runner(nullptr);
}

// A cancel that cannot queue its call fails and cancels nothing.
TEST(WaitCore, CancelFailsCleanlyWhenMemoryRunsOut)
{
    std::atomic<bool> leave{false};
    ox_thread *t = ox_thread_new(
        [](void *p) -> uint32_t {
            while (!static_cast<std::atomic<bool> *>(p)->load())
                ox_thread_yield();
            return 0;
        },
        &leave);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(ox_thread_start(t), 0);
    ASSERT_TRUE(eventually([&] { return thread_state(t) == kThreadRunning; }));
    alloc_fail_at(1);
    EXPECT_EQ(ox_thread_cancel(t), OX_EUNKNOWN);
    alloc_fail_at(0);
    leave = true;
    uint32_t code = 9;
    EXPECT_EQ(ox_thread_join(t, &code), 0);
    EXPECT_EQ(code, 0u);  // never cancelled
    ox_thread_destroy(t);
}
