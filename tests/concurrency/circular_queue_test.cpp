// The circular queue: capacity and FIFO order, results and last errors of
// every call, blocking and timed waits, the debug lines of the push family,
// freeing at destroy and construction under allocation failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"
#include "capture_fd.hpp"
#include "debug_scope.hpp"
#include "debug_text.hpp"

namespace {

void *item(intptr_t v) { return reinterpret_cast<void *>(v); }

uint32_t last_errno()
{
    int kind = 0;
    uint32_t native = ox_error_get_last_native(&kind);
    EXPECT_EQ(kind, OX_ERRKIND_ERRNO);
    return native;
}

std::vector<intptr_t> g_freed;
void free_item(void *p) { g_freed.push_back(reinterpret_cast<intptr_t>(p)); }

TEST(CircularQueue, CapacityOrderResultsBadArgumentsAndDestroy)
{
    g_freed.clear();
    ox_circularqueue *q = ox_circularqueue_new(free_item, 2, 0);
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(ox_circularqueue_trypush(q, item(1)), 0);
    EXPECT_EQ(ox_circularqueue_trypush(q, item(2)), 0);
    EXPECT_EQ(ox_circularqueue_trypush(q, item(3)), OX_ENOSPC);
    EXPECT_EQ(last_errno(), static_cast<uint32_t>(ENOSPC));
    void *out = nullptr;
    EXPECT_EQ(ox_circularqueue_trypop(q, &out), 0);
    EXPECT_EQ(out, item(1));
    EXPECT_EQ(ox_circularqueue_trypush(q, item(3)), 0);
    EXPECT_EQ(ox_circularqueue_pop(q, &out), 0);
    EXPECT_EQ(out, item(2));
    EXPECT_EQ(ox_circularqueue_timedpop(q, 10, &out), 0);
    EXPECT_EQ(out, item(3));
    out = item(9);
    EXPECT_EQ(ox_circularqueue_trypop(q, &out), OX_ENOENT);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(last_errno(), static_cast<uint32_t>(ENOENT));
    EXPECT_EQ(ox_circularqueue_timedpop(q, 20, &out), OX_ETIMEDOUT);
    EXPECT_EQ(ox_circularqueue_timedpush(q, 10, item(4)), 0);
    EXPECT_EQ(ox_circularqueue_timedpush(q, 10, item(5)), 0);
    EXPECT_EQ(ox_circularqueue_timedpush(q, 20, item(6)), OX_ENOSPC);
    // Bad arguments.
    struct Case {
        const char *what;
        int rc;
    } cases[] = {
        {"trypush NULL queue", ox_circularqueue_trypush(nullptr, item(1))},
        {"trypush NULL item", ox_circularqueue_trypush(q, nullptr)},
        {"push NULL item", ox_circularqueue_push(q, nullptr)},
        {"timedpush NULL queue", ox_circularqueue_timedpush(nullptr, 1, item(1))},
        {"trypop NULL out", ox_circularqueue_trypop(q, nullptr)},
        {"trypop NULL queue", ox_circularqueue_trypop(nullptr, &out)},
        {"pop NULL out", ox_circularqueue_pop(q, nullptr)},
        {"timedpop NULL out", ox_circularqueue_timedpop(q, 1, nullptr)},
        {"destroy NULL", ox_circularqueue_destroy(nullptr)},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(c.rc, OX_ENULL) << c.what;
    }
    EXPECT_EQ(last_errno(), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(ox_circularqueue_new(nullptr, 0, 0), nullptr);
    EXPECT_EQ(ox_error_get_last(), OX_EINVAL);
    // Destroy drops one reference at a time and frees the queued items.
    ASSERT_GE(ox_object_reference(q), 0);
    EXPECT_EQ(ox_circularqueue_destroy(q), 0);
    EXPECT_TRUE(g_freed.empty());
    EXPECT_EQ(ox_circularqueue_destroy(q), 0);
    std::sort(g_freed.begin(), g_freed.end());  // in slot order, not queue order
    EXPECT_EQ(g_freed, (std::vector<intptr_t>{4, 5}));
}

TEST(CircularQueue, BlockingCallsWaitForTheOtherSide)
{
    ox_circularqueue *q = ox_circularqueue_new(nullptr, 1, 0);
    ASSERT_NE(q, nullptr);
    void *out = nullptr;
    std::thread consumer([q] {
        void *got = nullptr;
        for (intptr_t want = 1; want <= 200; ++want) {
            EXPECT_EQ(ox_circularqueue_pop(q, &got), 0);
            EXPECT_EQ(got, item(want));
        }
    });
    for (intptr_t v = 1; v <= 200; ++v)
        ASSERT_EQ(ox_circularqueue_push(q, item(v)), 0);
    consumer.join();
    EXPECT_EQ(ox_circularqueue_trypop(q, &out), OX_ENOENT);
    // Pushes signal not-empty whether or not anyone waits, and a timed pop
    // waits once: a zero-time pop takes a signal left over from the pushes
    // above (and, finding nothing, reports a time-out).
    EXPECT_EQ(ox_circularqueue_timedpop(q, 0, &out), OX_ETIMEDOUT);
    // A timed pop ends when an item arrives during its wait.
    std::thread producer([q] { EXPECT_EQ(ox_circularqueue_push(q, item(7)), 0); });
    EXPECT_EQ(ox_circularqueue_timedpop(q, 60000, &out), 0);
    EXPECT_EQ(out, item(7));
    producer.join();
    ox_circularqueue_destroy(q);
}

TEST(CircularQueue, DebugLinesOfThePushFamily)
{
    ox_circularqueue *q = ox_circularqueue_new(nullptr, 1, 0);
    ASSERT_NE(q, nullptr);
    ASSERT_EQ(ox_circularqueue_trypush(q, item(1)), 0);
    {
        cairn::testing::DebugScope quiet(1, 1);
        cairn::testing::CaptureFd err(2);
        EXPECT_EQ(ox_circularqueue_trypush(q, item(2)), OX_ENOSPC);
        EXPECT_EQ(err.text(), "");
    }
    for (auto [level, trace] : {std::pair{2, 0u}, std::pair{0, 2u}}) {
        cairn::testing::DebugScope verbose(level, trace);
        cairn::testing::CaptureFd err(2);
        EXPECT_EQ(ox_circularqueue_trypush(q, item(2)), OX_ENOSPC);
        EXPECT_EQ(ox_circularqueue_timedpush(q, 1, item(2)), OX_ENOSPC);
        EXPECT_EQ(cairn::testing::without_debug_prefixes(err.text()),
                  "Push : No space \nPush : No space \nPush : Timed Wait \n");
    }
    {
        cairn::testing::DebugScope verbose(2, 0);
        cairn::testing::CaptureFd err(2);
        std::thread consumer([q] {
            void *got = nullptr;
            EXPECT_EQ(ox_circularqueue_pop(q, &got), 0);
        });
        // Full until the consumer takes item 1: the push waits at least once
        // or finds room at once.
        EXPECT_EQ(ox_circularqueue_push(q, item(2)), 0);
        consumer.join();
        std::string text = cairn::testing::without_debug_prefixes(err.text());
        EXPECT_TRUE(text.empty() || text.find("Push : Wait \n") != std::string::npos) << text;
    }
    ox_circularqueue_destroy(q);
}

}  // namespace
