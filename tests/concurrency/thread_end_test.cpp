// A thread ends through one path whatever ends it: a cancel that arrives
// while the clean-up entries run, joiners racing a winner that restarts or
// destroys the thread.  (The per-thread record's exit-time release is
// checked by the thread storage tests.)
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "wait_test_util.hpp"

using namespace cairn::testing;

namespace {

uint32_t at_once(void *) { return 5; }

struct CleanupWait {
    ox_event *release = ox_event_new();
    std::atomic<int> waiting{0};
    std::atomic<int> wait_result{-1};
    ~CleanupWait() { ox_event_destroy(release); }
};

void wait_in_cleanup(void *arg)
{
    auto *w = static_cast<CleanupWait *>(arg);
    w->waiting.store(1);
    w->wait_result.store(ox_event_wait(w->release));
}

uint32_t push_and_return(void *arg)
{
    ox_thread_cleanup_push(wait_in_cleanup, arg);
    return 7;
}

// Join `t` on another thread; false when the join did not end in time.
bool join_within(ox_thread *t, uint32_t &code, int &rc, int limit_ms)
{
    auto done = std::make_shared<std::atomic<int>>(0);
    auto result = std::make_shared<std::pair<int, uint32_t>>(-1, 0);
    std::thread([t, done, result] {
        result->first = ox_thread_join(t, &result->second);
        done->store(1);
    }).detach();
    if (!eventually([&] { return done->load() == 1; }, limit_ms))
        return false;  // the joiner is left behind, blocked
    rc = result->first;
    code = result->second;
    return true;
}

}  // namespace

TEST(ThreadEnd, CancelDuringCleanupEntriesStillEndsTheThread)
{
    // An adopted thread first: its end hook must leave library threads alone.
    std::thread([] { ASSERT_NE(ox_thread_self(), nullptr); }).join();
    for (int round = 0; round < 3; ++round) {
        CleanupWait w;
        ox_thread *t = ox_thread_new(push_and_return, &w);
        ASSERT_EQ(ox_thread_start(t), OX_SUCCESS);
        ASSERT_TRUE(eventually([&] { return w.waiting.load() == 1; }));
        // Too late to cancel: the thread is ending.  Its end goes on.  The
        // pause gives a cancel that would run in the entry's wait the time
        // to do so before the entry is released.
        EXPECT_EQ(ox_thread_cancel(t), OX_SUCCESS);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        ox_event_signal(w.release);
        uint32_t code = 0;
        int rc = -1;
        ASSERT_TRUE(join_within(t, code, rc, 20000)) << "the join never returned";
        EXPECT_EQ(rc, OX_SUCCESS);
        EXPECT_EQ(code, 7u);
        EXPECT_EQ(w.wait_result.load(), OX_SUCCESS);
        EXPECT_EQ(ox_thread_destroy(t), OX_SUCCESS);
    }
}

TEST(ThreadEnd, JoinersSurviveTheWinnerRestartingOrDestroying)
{
    for (int round = 0; round < 40; ++round) {
        bool restart = round % 2 == 0;
        Gate gate;
        gate.code = 3;
        ox_thread *t = ox_thread_new(gated, &gate);
        ASSERT_EQ(ox_thread_start(t), OX_SUCCESS);
        std::atomic<int> winners{0}, losers{0};
        std::vector<std::thread> joiners;
        for (int i = 0; i < 3; ++i)
            joiners.emplace_back([&] {
                int rc = ox_thread_join(t, nullptr);
                if (rc != OX_SUCCESS) {
                    EXPECT_EQ(rc, OX_ESRCH);
                    losers.fetch_add(1);
                    return;
                }
                winners.fetch_add(1);
                EXPECT_EQ(thread_state(t), cairn::kThreadJoined);
                if (!restart) {
                    EXPECT_EQ(ox_thread_destroy(t), OX_SUCCESS);
                    return;
                }
                t->fn = at_once;
                EXPECT_EQ(ox_thread_start(t), OX_SUCCESS);
            });
        ASSERT_TRUE(eventually([&] { return t->handle->ended.queued.load() == 3; }));
        ox_event_signal(gate.release);
        for (auto &j : joiners)
            j.join();
        EXPECT_EQ(winners.load(), 1);
        EXPECT_EQ(losers.load(), 2);
        if (restart) {
            uint32_t code = 0;
            ASSERT_EQ(ox_thread_join(t, &code), OX_SUCCESS);
            EXPECT_EQ(code, 5u);
            EXPECT_EQ(ox_thread_destroy(t), OX_SUCCESS);
        }
    }
}
