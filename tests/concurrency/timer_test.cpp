// Timers: delivery to the arming thread inside its alertable waits, one call
// per wait when the thread was busy, stop/reset/destroy from other threads.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "cairn/concurrency.h"
#include "cairn/frame.h"

namespace {

using Clock = std::chrono::steady_clock;

long ms_since(Clock::time_point t)
{
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t).count());
}

void count_call(void *arg) { ++*static_cast<std::atomic<int> *>(arg); }

std::atomic<int> g_releases{0};
void count_release(void *) { ++g_releases; }
void destroy_self(void *arg) { ox_timer_destroy(*static_cast<ox_timer **>(arg)); }

TEST(Timer, StartStopResultsAndRelease)
{
    std::atomic<int> calls{0};
    ox_timer *t = ox_timer_new(1000, 7, count_call, &calls, nullptr);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(ox_timer_stop(t), 0);  // idle stays idle: it can start
    EXPECT_EQ(ox_timer_start(t), 0);
    EXPECT_EQ(ox_timer_start(t), 12);
    EXPECT_EQ(ox_error_get_last(), OX_EBUSY);
    EXPECT_EQ(ox_timer_stop(t), 0);
    EXPECT_EQ(ox_timer_start(t), 0);  // a stopped timer starts again
    EXPECT_EQ(ox_timer_get_value(t), 7u);
    EXPECT_EQ(ox_timer_reset(t, 1000, 9), 0);
    EXPECT_EQ(ox_timer_get_value(t), 9u);
    EXPECT_EQ(ox_timer_destroy(t), 0);
    EXPECT_EQ(calls.load(), 0);  // this thread never waited
    EXPECT_EQ(ox_timer_start(nullptr), 2);
    EXPECT_EQ(ox_timer_stop(nullptr), 2);
    EXPECT_EQ(ox_timer_reset(nullptr, 1, 1), 2);
    EXPECT_EQ(ox_timer_destroy(nullptr), 2);
    EXPECT_EQ(ox_timer_new(10, 0, nullptr, nullptr, nullptr), nullptr);

    // The release function runs once, on the last reference.
    g_releases = 0;
    t = ox_timer_new(10, 0, count_call, &calls, count_release);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(ox_object_reference(t), 0);
    EXPECT_EQ(ox_timer_destroy(t), 0);
    EXPECT_EQ(g_releases.load(), 0);
    EXPECT_EQ(ox_timer_destroy(t), 0);
    EXPECT_EQ(g_releases.load(), 1);

    // A callback may destroy its own timer.
    ox_timer *self = nullptr;
    self = ox_timer_new(10, 0, destroy_self, &self, count_release);
    ASSERT_NE(self, nullptr);
    ASSERT_EQ(ox_timer_start(self), 0);
    EXPECT_EQ(ox_thread_sleep(500), 30);
    EXPECT_EQ(g_releases.load(), 2);
    EXPECT_EQ(ox_thread_sleep(50), 0);
}

TEST(Timer, FirstCallInterruptsASleepAtOnceThenEveryInterval)
{
    std::atomic<int> calls{0};
    ox_timer *t = ox_timer_new(100, 0, count_call, &calls, nullptr);
    ASSERT_NE(t, nullptr);
    const auto armed = Clock::now();
    ASSERT_EQ(ox_timer_start(t), 0);
    // Bounds under the 3.5 s sleep, however loaded the machine: a sleep
    // that no expiry cut short would take all of it.
    EXPECT_EQ(ox_thread_sleep(3500), 30);
    EXPECT_LT(ms_since(armed), 3000);
    EXPECT_EQ(calls.load(), 1);
    EXPECT_EQ(ox_error_get_last(), OX_EINTR);
    // Each further sleep is cut short by the next expiry.  Expiries lie on
    // a grid of intervals from the start and never come early, so the
    // fourth further call comes at least four intervals after arming,
    // however late the first call was delivered.
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(ox_thread_sleep(3500), 30);
    long elapsed = ms_since(armed);
    EXPECT_GE(elapsed, 4 * 100);
    EXPECT_LT(elapsed, 3400);
    EXPECT_EQ(calls.load(), 5);
    ox_timer_destroy(t);
    // Destroyed: nothing interrupts a sleep any more.
    EXPECT_EQ(ox_thread_sleep(150), 0);
}

TEST(Timer, ResetTakesEffectAtOnceAndABusyThreadGetsOneCallNotAPile)
{
    std::atomic<int> calls{0};
    ox_timer *t = ox_timer_new(10000, 0, count_call, &calls, nullptr);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(ox_timer_start(t), 0);
    EXPECT_EQ(ox_thread_sleep(1000), 30);  // immediate first expiry
    ASSERT_EQ(ox_timer_reset(t, 50, 1), 0);
    auto start = Clock::now();
    EXPECT_EQ(ox_thread_sleep(3000), 30);  // immediate again
    EXPECT_EQ(ox_thread_sleep(3000), 30);  // then the new, short interval
    EXPECT_LT(ms_since(start), 2900);
    EXPECT_EQ(calls.load(), 3);
    // Several intervals pass while the thread is not in an alertable wait:
    // its next wait gets one call, and a stopped timer none.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(calls.load(), 3);
    EXPECT_EQ(ox_thread_sleep(0), 30);
    EXPECT_EQ(calls.load(), 4);
    ox_timer_stop(t);
    EXPECT_EQ(ox_thread_sleep(120), 0);
    EXPECT_EQ(calls.load(), 4);
    ox_timer_destroy(t);
}

TEST(Timer, StopFromAnotherThreadEndsDeliveries)
{
    std::atomic<int> calls{0};
    std::atomic<ox_timer *> timer{nullptr};
    std::atomic<int> phase{0};
    std::atomic<int> quiet_sleep_result{-1};
    std::thread sleeper([&] {
        ox_timer *t = ox_timer_new(30, 0, count_call, &calls, nullptr);
        ox_timer_start(t);
        timer = t;
        while (calls.load() < 3)
            ox_thread_sleep(1000);
        phase = 1;
        while (phase.load() != 2)
            std::this_thread::yield();
        ox_thread_sleep(0);  // at most one call that fell due before the stop
        int before = calls.load();
        quiet_sleep_result = ox_thread_sleep(200);
        EXPECT_EQ(calls.load(), before);
    });
    while (phase.load() != 1)
        std::this_thread::yield();
    EXPECT_EQ(ox_timer_stop(timer.load()), 0);
    phase = 2;
    sleeper.join();
    EXPECT_EQ(quiet_sleep_result.load(), 0);
    EXPECT_EQ(ox_timer_destroy(timer.load()), 0);
}

TEST(Timer, AThreadThatEndsTakesItsTimersOffDelivery)
{
    std::atomic<int> calls{0};
    ox_timer *t = ox_timer_new(10, 0, count_call, &calls, nullptr);
    ASSERT_NE(t, nullptr);
    std::thread armer([t] {
        ox_timer_start(t);
        ox_thread_sleep(50);
    });
    armer.join();
    int seen = calls.load();
    EXPECT_GE(seen, 1);
    // Armed for a thread that is gone: a reset arms it for this one.
    EXPECT_EQ(ox_timer_reset(t, 10, 0), 0);
    EXPECT_EQ(ox_thread_sleep(500), 30);
    EXPECT_EQ(calls.load(), seen + 1);
    ox_timer_destroy(t);
}

}  // namespace
