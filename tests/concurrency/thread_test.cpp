// Thread objects: states and transitions, start/join/destroy results,
// threads the library did not create, the clean-up stack, sleeping and
// the calls that are not supported.
#include <gtest/gtest.h>

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "concurrency/thread_object.hpp"
#include "fault_injection.hpp"
#include "platform/alloc_testing.hpp"
#include "platform/sync_object.hpp"
#include "wait_test_util.hpp"

using namespace cairn::testing;

namespace {

uint32_t returns_arg(void *param)
{
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(param));
}

void record_order(void *param)
{
    auto *order = static_cast<std::vector<int> *>(param);
    order->push_back(static_cast<int>(order->size()));
}

}  // namespace

TEST(Thread, StatesAndResultsThroughStartJoinAndRestart)
{
    Gate gate;
    gate.code = 42;
    ox_thread *t = ox_thread_new(gated, &gate);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(thread_state(t), cairn::kThreadNew);
    uint32_t code = 0;
    EXPECT_EQ(ox_thread_join(t, &code), OX_ESRCH);  // never started
    EXPECT_EQ(ox_error_get_last_native(nullptr), static_cast<uint32_t>(ESRCH));
    EXPECT_EQ(ox_thread_tryjoin(t, &code), OX_ESRCH);
    // A failed start leaves the object new and reusable.
    alloc_fail_at(1);
    EXPECT_EQ(ox_thread_start(t), OX_ENOMEM);
    alloc_fail_at(0);
    EXPECT_EQ(thread_state(t), cairn::kThreadNew);

    for (int run = 1; run <= 3; ++run) {
        SCOPED_TRACE(run);
        ASSERT_EQ(ox_thread_start(t), 0);
        ASSERT_TRUE(eventually([&] { return gate.runs.load() == run; }));
        EXPECT_EQ(thread_state(t), cairn::kThreadRunning);
        EXPECT_EQ(ox_thread_start(t), OX_EBUSY);
        EXPECT_EQ(ox_error_get_last_native(nullptr), static_cast<uint32_t>(EBUSY));
        EXPECT_EQ(ox_thread_tryjoin(t, &code), OX_EBUSY);
        ox_event_signal(gate.release);
        ASSERT_TRUE(eventually([&] { return thread_state(t) == cairn::kThreadReturned; }));
        EXPECT_EQ(ox_thread_start(t), OX_EBUSY);  // ended but not joined
        EXPECT_EQ(run == 1 ? ox_thread_tryjoin(t, &code) : ox_thread_join(t, &code), 0);
        EXPECT_EQ(code, 42u);
        EXPECT_EQ(thread_state(t), cairn::kThreadJoined);
        EXPECT_EQ(ox_thread_join(t, &code), OX_ESRCH);  // joined once only
        EXPECT_EQ(ox_thread_tryjoin(t, &code), OX_ESRCH);
    }
    EXPECT_EQ(ox_thread_destroy(t), 0);
}

TEST(Thread, DestroyWhileRunningOrEndedAndNullHandles)
{
    Gate gate;
    // Process-wide parts made on first use are made before counting.
    ox_thread_destroy(ox_thread_new(returns_arg, nullptr));  // sequence counter
    _ox_threadstorage_expunge();                             // key-list lock
    alloc_tracking_start();
    AllocFaultGuard stop_tracking;
    ox_thread *t = ox_thread_new(gated, &gate);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(ox_thread_start(t), 0);
    ASSERT_TRUE(eventually([&] { return gate.runs.load() == 1; }));
    EXPECT_EQ(ox_thread_destroy(t), 0);
    EXPECT_EQ(thread_state(t), cairn::kThreadDetached);
    EXPECT_EQ(ox_thread_destroy(t), 0);  // already detached: nothing more
    ox_event_signal(gate.release);
    // The object, its lock, its handle and the thread's own record go.
    EXPECT_TRUE(eventually([] { return alloc_live() == 0; })) << alloc_live();

    // An ended thread is reaped by the destroy that drops its last reference.
    t = ox_thread_new(returns_arg, nullptr);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(ox_thread_start(t), 0);
    ASSERT_TRUE(eventually([&] { return thread_state(t) == cairn::kThreadReturned; }));
    ASSERT_EQ(ox_object_reference(t), 0);
    EXPECT_EQ(ox_thread_destroy(t), 0);  // a reference remains
    EXPECT_EQ(thread_state(t), cairn::kThreadReturned);
    EXPECT_EQ(ox_thread_destroy(t), 0);  // last: reaped and freed
    EXPECT_TRUE(eventually([] { return alloc_live() == 0; })) << alloc_live();

    EXPECT_EQ(ox_thread_destroy(nullptr), OX_ENULL);
    EXPECT_EQ(ox_thread_start(nullptr), OX_ENULL);
    EXPECT_EQ(ox_thread_join(nullptr, nullptr), OX_ENULL);
    EXPECT_EQ(ox_thread_tryjoin(nullptr, nullptr), OX_ENULL);
    EXPECT_EQ(ox_thread_cancel(nullptr), OX_ENULL);
    EXPECT_EQ(ox_thread_new(nullptr, nullptr), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
}

TEST(Thread, IdentityAndJoinOfLibraryAndAdoptedThreads)
{
    ox_thread *a = ox_thread_new(returns_arg, nullptr);
    ox_thread *b = ox_thread_new(returns_arg, nullptr);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    uint64_t ida = ox_thread_id(a), idb = ox_thread_id(b);
    EXPECT_EQ(ida >> 32, static_cast<uint64_t>(getpid()));
    EXPECT_NE(ida & 0xFFFFFFFFu, 0u);
    EXPECT_NE(ida, idb);
    EXPECT_EQ(ox_thread_equal(a, a), 1);
    EXPECT_EQ(ox_thread_equal(a, b), 0);
    ox_error_set_last(0, OX_ERRKIND_ERRNO);
    EXPECT_EQ(ox_thread_equal(a, nullptr), 0);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_thread_id(nullptr), 0u);
    ox_thread_destroy(a);
    ox_thread_destroy(b);

    // A thread the library did not create: its identity, the calls on
    // itself that would wait for itself, and a join that waits for its end.
    std::atomic<ox_thread *> adopted{nullptr};
    std::atomic<bool> leave{false};
    std::thread foreign([&] {
        ox_thread *self = ox_thread_self();
        ASSERT_NE(self, nullptr);
        EXPECT_EQ(ox_thread_self(), self);
        EXPECT_EQ(thread_state(self), cairn::kThreadRunning);
        EXPECT_EQ(ox_thread_id(self), static_cast<uint64_t>(getpid()) << 32);  // sequence 0
        ox_corvan *rec = ox_corvan_get();
        ASSERT_NE(rec, nullptr);
        EXPECT_EQ(rec->thread, self);
        ox_error_set_last(EPERM, OX_ERRKIND_ERRNO);
        EXPECT_NE(rec->last_error, nullptr);
        EXPECT_EQ(ox_thread_destroy(self), OX_EDEADLK);
        EXPECT_EQ(ox_thread_start(self), OX_EDEADLK);
        EXPECT_EQ(ox_thread_join(self, nullptr), OX_EDEADLK);
        adopted = self;
        ASSERT_TRUE(eventually([&] { return leave.load(); }));
    });
    ASSERT_TRUE(eventually([&] { return adopted.load() != nullptr; }));
    uint32_t code = 99;
    EXPECT_EQ(ox_thread_tryjoin(adopted, &code), OX_EBUSY);
    std::atomic<int> joined{-1};
    std::thread joiner([&] { joined = ox_thread_join(adopted, &code); });
    ASSERT_TRUE(eventually([&] { return adopted.load()->handle->ended.queued.load() == 1; }));
    leave = true;
    foreign.join();
    joiner.join();
    EXPECT_EQ(joined.load(), 0);
    EXPECT_EQ(code, 0u);
}

namespace {

struct CleanupLog {
    std::vector<int> order;
    static void first(void *p) { static_cast<CleanupLog *>(p)->order.push_back(1); }
    static void second(void *p) { static_cast<CleanupLog *>(p)->order.push_back(2); }
};

uint32_t pushes_two(void *param)
{
    ox_thread_cleanup_push(CleanupLog::first, param);
    ox_thread_cleanup_push(nullptr, nullptr);
    ox_thread_cleanup_push(CleanupLog::second, param);
    return 3;
}

}  // namespace

TEST(Thread, CleanupStackRunsNewestFirstAndPopsOnRequest)
{
    CleanupLog log;
    ox_thread *t = ox_thread_new(pushes_two, &log);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(ox_thread_start(t), 0);
    uint32_t code = 0;
    ASSERT_EQ(ox_thread_join(t, &code), 0);
    EXPECT_EQ(code, 3u);
    EXPECT_EQ(log.order, (std::vector<int>{2, 1}));
    log.order.clear();
    ASSERT_EQ(ox_thread_start(t), 0);  // a second run starts with an empty stack
    ASSERT_EQ(ox_thread_join(t, &code), 0);
    EXPECT_EQ(log.order, (std::vector<int>{2, 1}));
    EXPECT_EQ(ox_thread_destroy(t), 0);

    // Popping: without running, with running, and from an empty stack; what
    // is left on an adopted thread's stack runs when that thread ends.
    std::vector<int> order;
    std::thread([&] {
        EXPECT_EQ(ox_thread_cleanup_pop(1), OX_ENOENT);
        ASSERT_EQ(ox_thread_cleanup_push(record_order, &order), 0);
        ASSERT_EQ(ox_thread_cleanup_push(record_order, &order), 0);
        EXPECT_EQ(ox_thread_cleanup_pop(0), 0);
        EXPECT_TRUE(order.empty());
        EXPECT_EQ(ox_thread_cleanup_pop(1), 0);
        EXPECT_EQ(order.size(), 1u);
        EXPECT_EQ(ox_thread_cleanup_pop(1), OX_ENOENT);
        ASSERT_EQ(ox_thread_cleanup_push(record_order, &order), 0);
        ASSERT_EQ(ox_thread_cleanup_push(nullptr, nullptr), 0);  // skipped
    }).join();
    EXPECT_EQ(order.size(), 2u);
}

TEST(Thread, SleepYieldAndTheUnsupportedCalls)
{
    EXPECT_EQ(ox_thread_sleep(0), 0);
    EXPECT_EQ(ox_thread_sleep(2), 0);
    EXPECT_EQ(ox_thread_yield(), 0);
    EXPECT_EQ(ox_thr_init(), 1);
    size_t size = 7;
    EXPECT_EQ(ox_thread_getstacksize(nullptr, &size), OX_ENOTSUP);
    EXPECT_EQ(size, 7u);  // untouched
    EXPECT_EQ(ox_thread_setstacksize(nullptr, 1 << 20), OX_ENOTSUP);
    const struct {
        const char *name;
        int (*call)();
    } unsupported[] = {
        {"signal", [] { return ox_thread_signal(nullptr, 1); }},
        {"signal_block", [] { return ox_thread_signal_block(1); }},
        {"signal_handler", [] { return ox_thread_signal_handler(1, nullptr); }},
    };
    for (const auto &c : unsupported) {
        ox_error_set_last(0, OX_ERRKIND_ERRNO);
        EXPECT_EQ(c.call(), OX_ENOSYS) << c.name;
        EXPECT_EQ(ox_error_get_last_native(nullptr), static_cast<uint32_t>(ENOSYS)) << c.name;
    }
}
