// Producer/consumer stress of the queues: 4 producers and 4 consumers hand
// distinct items through each queue; every item must come out exactly once.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"

namespace {

constexpr int kProducers = 4;
constexpr int kConsumers = 4;
constexpr intptr_t kPerProducer = 20000;
constexpr intptr_t kTotal = kProducers * kPerProducer;

void *item(intptr_t v) { return reinterpret_cast<void *>(v); }

// Items are 1..kTotal; `seen[v]` counts how often item v came out.
struct Tally {
    std::vector<std::atomic<int>> seen = std::vector<std::atomic<int>>(kTotal + 1);
    std::atomic<intptr_t> popped{0};
    void record(void *p)
    {
        auto v = reinterpret_cast<intptr_t>(p);
        ASSERT_GE(v, 1);
        ASSERT_LE(v, kTotal);
        seen[static_cast<size_t>(v)].fetch_add(1);
        popped.fetch_add(1);
    }
    void check()
    {
        EXPECT_EQ(popped.load(), kTotal);
        for (intptr_t v = 1; v <= kTotal; ++v)
            ASSERT_EQ(seen[static_cast<size_t>(v)].load(), 1) << "item " << v;
    }
};

template <typename Push, typename Pop>
void run(Push push, Pop pop)
{
    Tally tally;
    std::vector<std::thread> threads;
    for (int p = 0; p < kProducers; ++p)
        threads.emplace_back([&push, p] {
            for (intptr_t i = 1; i <= kPerProducer; ++i)
                ASSERT_EQ(push(item(p * kPerProducer + i)), 0);
        });
    for (int c = 0; c < kConsumers; ++c)
        threads.emplace_back([&pop, &tally] {
            // Consumers stop once every item has come out (the bounded
            // waits let them see that), or at a deadline when items were
            // lost: the tally then fails instead of the run hanging.
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
            while (tally.popped.load() < kTotal && std::chrono::steady_clock::now() < deadline) {
                void *out = nullptr;
                if (pop(&out) == 0)
                    tally.record(out);
            }
        });
    for (auto &t : threads)
        t.join();
    tally.check();
}

TEST(QueueStress, CircularQueueCountsConserved)
{
    ox_circularqueue *q = ox_circularqueue_new(nullptr, 64, 0);
    ASSERT_NE(q, nullptr);
    run([q](void *it) { return ox_circularqueue_push(q, it); },
        [q](void **out) { return ox_circularqueue_timedpop(q, 20, out); });
    void *out = nullptr;
    EXPECT_EQ(ox_circularqueue_trypop(q, &out), OX_ENOENT);
    ox_circularqueue_destroy(q);
}

TEST(QueueStress, EventQueueCountsConserved)
{
    ox_eventqueue *q = ox_eventqueue_new(nullptr);
    ASSERT_NE(q, nullptr);
    run([q](void *it) { return ox_eventqueue_push(q, it); },
        [q](void **out) { return ox_eventqueue_timedpop(q, 20, out); });
    EXPECT_EQ(ox_eventqueue_size(q), 0);
    ox_eventqueue_destroy(q);
}

Tally *g_pool_tally = nullptr;

TEST(QueueStress, ThreadQueueRunsEveryItemOnce)
{
    Tally tally;
    g_pool_tally = &tally;
    ox_threadqueue *q =
        ox_threadqueue_new([](void *it) { g_pool_tally->record(it); }, nullptr, 1, kConsumers, 1);
    ASSERT_NE(q, nullptr);
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p)
        producers.emplace_back([q, p] {
            for (intptr_t i = 1; i <= kPerProducer; ++i)
                ASSERT_EQ(ox_threadqueue_push(q, item(p * kPerProducer + i)), 0);
        });
    for (auto &t : producers)
        t.join();
    EXPECT_LE(ox_threadqueue_size(q), kConsumers);
    EXPECT_EQ(ox_threadqueue_destroy(q), 0);  // waits for the queue to drain
    tally.check();
}

}  // namespace
