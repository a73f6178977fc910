// The error model, the object registry and atomics against plain peers.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cerrno>
#include <vector>

#include "cairn/concurrency.h"
#include "cairn/frame.h"

namespace {

// --- last error: set + get ------------------------------------------------

struct PlainError {
    int kind;
    uint32_t code;
};
thread_local PlainError t_plain;

void BM_LastError_Cairn(benchmark::State &state)
{
    uint32_t code = ENOENT;
    for (auto _ : state) {
        ox_error_set_last(code, OX_ERRKIND_ERRNO);
        benchmark::DoNotOptimize(ox_error_get_last());
    }
}
BENCHMARK(BM_LastError_Cairn);

void BM_LastError_ThreadLocalPeer(benchmark::State &state)
{
    uint32_t code = ENOENT;
    for (auto _ : state) {
        t_plain.kind = OX_ERRKIND_ERRNO;
        t_plain.code = code;
        errno = static_cast<int>(code);
        benchmark::DoNotOptimize(t_plain);
        benchmark::DoNotOptimize(t_plain.code);
    }
}
BENCHMARK(BM_LastError_ThreadLocalPeer);

// --- registry: register + release with N live objects ----------------------

struct Obj {
    ox_object_header header;
};

void BM_Registry_RegisterRelease(benchmark::State &state)
{
    static std::vector<Obj> live;
    size_t want = static_cast<size_t>(state.range(0));
    // Keep exactly `want` objects registered across benchmark runs.
    while (live.size() > want) {
        _ox_object_unreference(&live.back());
        live.pop_back();
    }
    live.reserve(1000000);
    while (live.size() < want) {
        live.push_back(Obj{});
        live.back().header.index = _ox_object_reference(&live.back(), nullptr);
    }
    Obj probe{};
    for (auto _ : state) {
        probe.header.index = _ox_object_reference(&probe, nullptr);
        benchmark::DoNotOptimize(_ox_object_unreference(&probe));
    }
}
BENCHMARK(BM_Registry_RegisterRelease)->Arg(1000)->Arg(1000000);

// --- atomics -----------------------------------------------------------------

void BM_Atomic_Cairn(benchmark::State &state)
{
    ox_atomic *a = ox_atomic_new(0);
    for (auto _ : state)
        benchmark::DoNotOptimize(ox_atomic_increment(a));
    ox_atomic_destroy(a);
}
BENCHMARK(BM_Atomic_Cairn);

void BM_Atomic_StdPeer(benchmark::State &state)
{
    std::atomic<int32_t> a{0};
    for (auto _ : state)
        benchmark::DoNotOptimize(a.fetch_add(1) + 1);
}
BENCHMARK(BM_Atomic_StdPeer);

}  // namespace

namespace {

// The same peer behind an out-of-line call: how much of the difference is
// the cost of calling an exported function at all.
__attribute__((noinline)) int32_t increment_out_of_line(std::atomic<int32_t> *a)
{
    return a->fetch_add(1) + 1;
}

void BM_Atomic_StdPeerOutOfLine(benchmark::State &state)
{
    auto *a = new std::atomic<int32_t>(0);
    for (auto _ : state)
        benchmark::DoNotOptimize(increment_out_of_line(a));
    delete a;
}
BENCHMARK(BM_Atomic_StdPeerOutOfLine);

}  // namespace
