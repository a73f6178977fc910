// Queues against their peers, one producer and one consumer handing over
// 1M items (both threads on CPU 0, and on different CPUs): ox_eventqueue
// against GAsyncQueue and a std mutex+condvar+deque queue; ox_circularqueue
// (capacity 1024) against apr_queue.  The thread pool: 200,000 trivial items
// with at most 2 and 4 workers, against GThreadPool and a minimal std pool.
#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "bench_util.hpp"
#include "cairn/concurrency.h"

#ifdef CAIRN_BENCH_GLIB
#include <glib.h>
#endif
#ifdef CAIRN_BENCH_APR
#include <apr_general.h>
#include <apr_pools.h>
#include <apr_queue.h>
#endif

namespace {

constexpr intptr_t kItems = 1000000;
constexpr intptr_t kPoolItems = 200000;

void *item(intptr_t v) { return reinterpret_cast<void *>(v); }

// One producer pushes kItems; one consumer pops them.  range(0): 0 both
// threads on CPU 0, 1 on CPUs 0 and 1.
template <typename Push, typename Pop>
void handoff(benchmark::State &state, Push push, Pop pop)
{
    int consumer_cpu = state.range(0) ? 1 : 0;
    for (auto _ : state) {
        std::thread consumer([&] {
            cairn::bench::pin_to_cpu(consumer_cpu);
            intptr_t sum = 0;
            for (intptr_t i = 0; i < kItems; ++i)
                sum += reinterpret_cast<intptr_t>(pop());
            benchmark::DoNotOptimize(sum);
        });
        cairn::bench::pin_to_cpu(0);
        for (intptr_t i = 1; i <= kItems; ++i)
            push(item(i));
        consumer.join();
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}

void BM_OxEventQueue(benchmark::State &state)
{
    ox_eventqueue *q = ox_eventqueue_new(nullptr);
    handoff(
        state, [q](void *it) { ox_eventqueue_push(q, it); },
        [q] {
            void *out = nullptr;
            ox_eventqueue_pop(q, &out);
            return out;
        });
    ox_eventqueue_destroy(q);
}

class StdQueue {
public:
    void push(void *it)
    {
        {
            std::lock_guard<std::mutex> hold(m_);
            q_.push_back(it);
        }
        cv_.notify_one();
    }
    void *pop()
    {
        std::unique_lock<std::mutex> hold(m_);
        cv_.wait(hold, [this] { return !q_.empty(); });
        void *it = q_.front();
        q_.pop_front();
        return it;
    }

private:
    std::mutex m_;
    std::condition_variable cv_;
    std::deque<void *> q_;
};

void BM_StdDequeQueue(benchmark::State &state)
{
    StdQueue q;
    handoff(
        state, [&q](void *it) { q.push(it); }, [&q] { return q.pop(); });
}

void BM_OxCircularQueue(benchmark::State &state)
{
    ox_circularqueue *q = ox_circularqueue_new(nullptr, 1024, 0);
    handoff(
        state, [q](void *it) { ox_circularqueue_push(q, it); },
        [q] {
            void *out = nullptr;
            ox_circularqueue_pop(q, &out);
            return out;
        });
    ox_circularqueue_destroy(q);
}

#ifdef CAIRN_BENCH_GLIB
void BM_GAsyncQueue(benchmark::State &state)
{
    GAsyncQueue *q = g_async_queue_new();
    handoff(
        state, [q](void *it) { g_async_queue_push(q, it); }, [q] { return g_async_queue_pop(q); });
    g_async_queue_unref(q);
}
BENCHMARK(BM_GAsyncQueue)
    ->ArgName("cross_cpu")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
#endif

#ifdef CAIRN_BENCH_APR
void BM_AprQueue(benchmark::State &state)
{
    static bool initialised = apr_initialize() == APR_SUCCESS;
    benchmark::DoNotOptimize(initialised);
    apr_pool_t *pool = nullptr;
    apr_pool_create(&pool, nullptr);
    apr_queue_t *q = nullptr;
    apr_queue_create(&q, 1024, pool);
    handoff(
        state, [q](void *it) { apr_queue_push(q, it); },
        [q] {
            void *out = nullptr;
            apr_queue_pop(q, &out);
            return out;
        });
    apr_pool_destroy(pool);
}
BENCHMARK(BM_AprQueue)
    ->ArgName("cross_cpu")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
#endif

BENCHMARK(BM_OxEventQueue)
    ->ArgName("cross_cpu")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_StdDequeQueue)
    ->ArgName("cross_cpu")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_OxCircularQueue)
    ->ArgName("cross_cpu")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// ---------------------------------------------------------------- pools ---

std::atomic<intptr_t> g_ran{0};
void trivial(void *) { g_ran.fetch_add(1, std::memory_order_relaxed); }

// Push kPoolItems and wait until every one has run.
template <typename Push>
void pool_run(benchmark::State &state, Push push)
{
    for (auto _ : state) {
        g_ran.store(0);
        for (intptr_t i = 1; i <= kPoolItems; ++i)
            push(item(i));
        while (g_ran.load() < kPoolItems)
            std::this_thread::yield();
    }
    state.SetItemsProcessed(state.iterations() * kPoolItems);
}

void BM_OxThreadQueue(benchmark::State &state)
{
    auto max = static_cast<uint8_t>(state.range(0));
    ox_threadqueue *q = ox_threadqueue_new(trivial, nullptr, 1, max, 0);
    pool_run(state, [q](void *it) { ox_threadqueue_push(q, it); });
    ox_threadqueue_destroy(q);
}

// The smallest pool that does the job: workers on one mutex-guarded deque.
class StdPool {
public:
    explicit StdPool(int n)
    {
        for (int i = 0; i < n; ++i)
            workers_.emplace_back([this] { run(); });
    }
    ~StdPool()
    {
        {
            std::lock_guard<std::mutex> hold(m_);
            stop_ = true;
        }
        cv_.notify_all();
        for (auto &t : workers_)
            t.join();
    }
    void push(void *it)
    {
        {
            std::lock_guard<std::mutex> hold(m_);
            q_.push_back(it);
        }
        cv_.notify_one();
    }

private:
    void run()
    {
        for (;;) {
            std::unique_lock<std::mutex> hold(m_);
            cv_.wait(hold, [this] { return stop_ || !q_.empty(); });
            if (q_.empty())
                return;
            void *it = q_.front();
            q_.pop_front();
            hold.unlock();
            trivial(it);
        }
    }
    std::mutex m_;
    std::condition_variable cv_;
    std::deque<void *> q_;
    bool stop_ = false;
    std::vector<std::thread> workers_;
};

void BM_StdPool(benchmark::State &state)
{
    StdPool pool(static_cast<int>(state.range(0)));
    pool_run(state, [&pool](void *it) { pool.push(it); });
}

#ifdef CAIRN_BENCH_GLIB
void BM_GThreadPool(benchmark::State &state)
{
    GThreadPool *pool = g_thread_pool_new([](gpointer it, gpointer) { trivial(it); }, nullptr,
                                          static_cast<gint>(state.range(0)), FALSE, nullptr);
    pool_run(state, [pool](void *it) { g_thread_pool_push(pool, it, nullptr); });
    g_thread_pool_free(pool, FALSE, TRUE);
}
BENCHMARK(BM_GThreadPool)
    ->ArgName("max")
    ->Arg(2)
    ->Arg(4)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
#endif

BENCHMARK(BM_OxThreadQueue)
    ->ArgName("max")
    ->Arg(2)
    ->Arg(4)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_StdPool)
    ->ArgName("max")
    ->Arg(2)
    ->Arg(4)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
