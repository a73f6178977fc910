// Cancel results around a thread's run, a restart after a cancel, and the
// cancel of a thread the library did not create.  (Cancels of threads
// blocked in each kind of library wait are checked by StressCancel.)
#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/thread_object.hpp"
#include "platform/sync_object.hpp"
#include "wait_test_util.hpp"

using namespace cairn::testing;

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
