// Thread storage keys: per-thread values, slot reuse, the four-pass
// expunge, running out of slots, and failures.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "child_process.hpp"
#include "platform/alloc_testing.hpp"
#include "platform/thread_record.hpp"
#include "platform/tls_slots.hpp"

using namespace cairn::testing;

namespace {

ox_threadstorage *g_key;
std::atomic<int> g_calls{0};

// Sets its own key again every time: the expunge gives up after 4 passes.
void sets_itself_again(void *value)
{
    g_calls.fetch_add(1);
    ox_threadstorage_set(g_key, value);
}

void count_call(void *) { g_calls.fetch_add(1); }

uint32_t set_value_and_return(void *key)
{
    static int value;
    ox_threadstorage_set(static_cast<ox_threadstorage *>(key), &value);
    return 0;
}

void run_library_thread(ox_thread_fn fn, void *arg)
{
    ox_thread *t = ox_thread_new(fn, arg);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(ox_thread_start(t), 0);
    ASSERT_EQ(ox_thread_join(t, nullptr), 0);
    ox_thread_destroy(t);
}

}  // namespace

TEST(ThreadStorage, ValuesArePerThreadAndTheExpungeGivesUpAfterFourPasses)
{
    ox_threadstorage *key = ox_threadstorage_new(nullptr);
    ASSERT_NE(key, nullptr);
    int mine = 1, theirs = 2;
    EXPECT_EQ(ox_threadstorage_get(key), nullptr);
    EXPECT_EQ(ox_threadstorage_set(key, &mine), 0);
    std::thread([&] {
        EXPECT_EQ(ox_threadstorage_get(key), nullptr);
        EXPECT_EQ(ox_threadstorage_set(key, &theirs), 0);
        EXPECT_EQ(ox_threadstorage_get(key), &theirs);
    }).join();
    EXPECT_EQ(ox_threadstorage_get(key), &mine);
    // Destroy drops one reference at a time; a new key that takes the freed
    // slot reads NULL, not the old key's value.
    ASSERT_EQ(ox_object_reference(key), 0);
    EXPECT_EQ(ox_threadstorage_destroy(key), 0);
    EXPECT_EQ(ox_threadstorage_get(key), &mine);
    EXPECT_EQ(ox_threadstorage_destroy(key), 0);
    ox_threadstorage *new_key = ox_threadstorage_new(nullptr);
    ASSERT_NE(new_key, nullptr);
    EXPECT_EQ(ox_threadstorage_get(new_key), nullptr);
    EXPECT_EQ(ox_threadstorage_destroy(new_key), 0);

    EXPECT_EQ(ox_threadstorage_get(nullptr), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    EXPECT_EQ(ox_threadstorage_set(nullptr, &mine), OX_ENULL);
    EXPECT_EQ(ox_threadstorage_destroy(nullptr), OX_ENULL);

    // The expunge calls destructors until the values stay cleared, giving up
    // after four passes; a library thread's values go when it ends.
    g_key = ox_threadstorage_new(sets_itself_again);
    ox_threadstorage *counted = ox_threadstorage_new(count_call);
    ox_threadstorage *no_destructor = ox_threadstorage_new(nullptr);
    ASSERT_NE(g_key, nullptr);
    ASSERT_NE(counted, nullptr);
    ASSERT_NE(no_destructor, nullptr);
    int value = 0;
    g_calls = 0;
    ox_threadstorage_set(g_key, &value);
    ox_threadstorage_set(counted, &value);
    ox_threadstorage_set(no_destructor, &value);
    _ox_threadstorage_expunge();
    EXPECT_EQ(g_calls.load(), 4 + 1);
    EXPECT_EQ(ox_threadstorage_get(g_key), &value);  // set again by the 4th call
    EXPECT_EQ(ox_threadstorage_get(counted), nullptr);
    EXPECT_EQ(ox_threadstorage_get(no_destructor), &value);  // not touched

    // A library thread's values are destroyed when it ends.
    g_calls = 0;
    run_library_thread(set_value_and_return, counted);
    EXPECT_EQ(g_calls.load(), 1);
    ox_threadstorage_destroy(g_key);
    ox_threadstorage_destroy(counted);
    ox_threadstorage_destroy(no_destructor);
}

TEST(ThreadStorage, RunningOutOfSlotsAndGrowingTheThreadsTable)
{
    std::vector<ox_threadstorage *> keys;
    for (;;) {
        ox_threadstorage *key = ox_threadstorage_new(nullptr);
        if (key == nullptr)
            break;
        keys.push_back(key);
        ASSERT_LT(keys.size(), cairn::kTlsSlotCount);
    }
    EXPECT_EQ(ox_error_get_last(), OX_EAGAIN);
    EXPECT_GT(keys.size(), 1000u);
    int value = 0;
    std::thread([&] {
        // The first value of a high slot grows the thread's table.  (The
        // thread's record is made first: failing that stops the process.)
        ox_error_set_last(0, OX_ERRKIND_ERRNO);
        alloc_fail_at(1);
        EXPECT_EQ(ox_threadstorage_set(keys.back(), &value), OX_ENOMEM);
        alloc_fail_at(0);
        EXPECT_EQ(ox_threadstorage_set(keys.back(), &value), 0);
        EXPECT_EQ(ox_threadstorage_get(keys.back()), &value);
    }).join();
    for (ox_threadstorage *key : keys)
        EXPECT_EQ(ox_threadstorage_destroy(key), 0);
    ox_threadstorage *again = ox_threadstorage_new(nullptr);
    EXPECT_NE(again, nullptr);
    ox_threadstorage_destroy(again);
}

namespace {

std::atomic<bool> g_check_at_exit{false};

// Registered before the library's first record exists, so it runs after the
// library's own exit-time clean-up.
void after_library_cleanup()
{
    if (!g_check_at_exit)
        return;
    std::printf("record %s;", cairn::thread_record_peek() == nullptr ? "released" : "kept");
    ox_error_set_last(EPERM, OX_ERRKIND_ERRNO);  // the library still works
    std::printf(" last error %d\n", ox_error_get_last());
    std::fflush(stdout);
}

const int g_registered = std::atexit(after_library_cleanup);

}  // namespace

TEST(ThreadStorage, LibraryRecordIsReleasedAtExit)
{
    ASSERT_EQ(g_registered, 0);
    for (int destroy_key : {0, 1}) {
        ChildResult r = run_in_child([destroy_key] {
            Ox_atexit_ox_threadstorage_destroy = destroy_key;
            ASSERT_NE(ox_thread_self(), nullptr);
            ox_error_set_last(EPERM, OX_ERRKIND_ERRNO);
            g_check_at_exit = true;
        });
        EXPECT_TRUE(r.exited) << destroy_key;
        EXPECT_EQ(r.exit_code, 0) << r.err;
        EXPECT_EQ(r.out, "record released; last error 69\n") << destroy_key;
    }
}
