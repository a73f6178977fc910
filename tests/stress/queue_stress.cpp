// Producer/consumer stress of the queues: 4 producers and 4 consumers hand
// distinct items through each queue; every item must come out exactly once.
#include "stress_support.hpp"

#include "cairn/frame.h"

namespace cairn::stress {
namespace {

constexpr int kProducers = 4;
constexpr int kConsumers = 4;
constexpr intptr_t kPerProducer = 20000;
constexpr intptr_t kTotal = kProducers * kPerProducer;

void *item(intptr_t v) { return reinterpret_cast<void *>(v); }

template <typename Push, typename Pop>
void run(Push push, Pop pop)
{
    Ledger tally(kTotal);
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
                    tally.take(out);
            }
        });
    for (auto &t : threads)
        t.join();
    tally.expect_each_once();
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

Ledger *g_pool_tally = nullptr;

TEST(QueueStress, ThreadQueueRunsEveryItemOnce)
{
    Ledger tally(kTotal);
    g_pool_tally = &tally;
    ox_threadqueue *q =
        ox_threadqueue_new([](void *it) { g_pool_tally->take(it); }, nullptr, 1, kConsumers, 1);
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
    tally.expect_each_once();
}

}  // namespace
}  // namespace cairn::stress
