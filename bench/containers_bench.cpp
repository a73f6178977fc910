// Containers against the standard library: binary lookup in an array of
// string keys, and append + pop on a locked list.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <list>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <random>
#include <string>
#include <vector>

#include "cairn/containers.h"

namespace {

// The C library skips atomic operations in its mutexes while a process has
// a single thread.  The library's callers are multi-threaded programs, so
// the peers are measured as they run there: with a second thread alive.
struct SecondThread {
    std::thread t;
    std::mutex m;
    std::condition_variable cv;
    bool stop = false;
    SecondThread()
        : t([this] {
              std::unique_lock<std::mutex> hold(m);
              cv.wait(hold, [this] { return stop; });
          })
    {}
    ~SecondThread()
    {
        {
            std::lock_guard<std::mutex> hold(m);
            stop = true;
        }
        cv.notify_one();
        t.join();
    }
};
SecondThread g_second_thread;

constexpr int kKeys = 100000;

int compare_str(void *a, void *b)
{
    return std::strcmp(static_cast<char *>(a), static_cast<char *>(b));
}

const std::vector<std::string> &keys()
{
    static std::vector<std::string> k = [] {
        std::vector<std::string> v;
        char buf[32];
        for (int i = 0; i < kKeys; ++i) {
            std::snprintf(buf, sizeof buf, "client-%08d.example", i * 7919 % 1000003);
            v.emplace_back(buf);
        }
        return v;
    }();
    return k;
}

std::vector<const char *> probes()
{
    std::vector<const char *> p;
    std::mt19937 rng(5);
    for (int i = 0; i < 4096; ++i)
        p.push_back(keys()[rng() % kKeys].c_str());
    return p;
}

// state.range(0): the array's flags (0, or OX_CONTAINER_NOLOCK to measure
// the search without the container's lock).
void BM_ArrayFindB_Cairn(benchmark::State &state)
{
    ox_array *a =
        ox_array_new(nullptr, nullptr, compare_str, nullptr, static_cast<int>(state.range(0)));
    for (const auto &k : keys())
        ox_array_add(a, const_cast<char *>(k.c_str()), const_cast<char *>(k.c_str()));
    auto p = probes();
    size_t i = 0;
    for (auto _ : state) {
        void *out = nullptr;
        ox_array_find_b(a, const_cast<char *>(p[i++ & 4095]), &out);
        benchmark::DoNotOptimize(out);
    }
    ox_array_destroy(a);
}
BENCHMARK(BM_ArrayFindB_Cairn)->Arg(0)->Arg(OX_CONTAINER_NOLOCK);

void BM_ArrayFindB_LowerBoundPeer(benchmark::State &state)
{
    std::vector<const char *> sorted;
    for (const auto &k : keys())
        sorted.push_back(k.c_str());
    std::sort(sorted.begin(), sorted.end(),
              [](const char *x, const char *y) { return std::strcmp(x, y) < 0; });
    auto p = probes();
    size_t i = 0;
    // The same comparison callback, called through a pointer as the array
    // calls it, and the same answer: the element when the key is there.
    int (*volatile compare_ptr)(void *, void *) = compare_str;
    auto compare = compare_ptr;
    for (auto _ : state) {
        const char *want = p[i++ & 4095];
        auto it = std::lower_bound(
            sorted.begin(), sorted.end(), want, [compare](const char *x, const char *y) {
                return compare(const_cast<char *>(x), const_cast<char *>(y)) < 0;
            });
        const char *out =
            it != sorted.end() && compare(const_cast<char *>(*it), const_cast<char *>(want)) == 0
                ? *it
                : nullptr;
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(BM_ArrayFindB_LowerBoundPeer);

void BM_ListAppendPop_Cairn(benchmark::State &state)
{
    ox_list *l = ox_list_new(nullptr, nullptr, nullptr, nullptr, 0);
    int value = 1;
    for (auto _ : state) {
        void *out = nullptr;
        ox_list_append(l, nullptr, &value);
        ox_list_pop(l, &out);
        benchmark::DoNotOptimize(out);
    }
    ox_list_destroy(l);
}
BENCHMARK(BM_ListAppendPop_Cairn);

void BM_ListAppendPop_StdPeer(benchmark::State &state)
{
    std::list<void *> l;
    std::mutex m;
    int value = 1;
    for (auto _ : state) {
        void *out = nullptr;
        {
            std::lock_guard<std::mutex> hold(m);
            l.push_back(&value);
        }
        {
            std::lock_guard<std::mutex> hold(m);
            out = l.front();
            l.pop_front();
        }
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(BM_ListAppendPop_StdPeer);

}  // namespace
