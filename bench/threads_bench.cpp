// Thread creation + start + join against std::thread create + join.  The
// library's start pauses 1 millisecond so that the new thread may run
// first; the second variant leaves the pause out to show the rest.
#include <benchmark/benchmark.h>

#include <thread>

#include "cairn/concurrency.h"
#include "concurrency/thread_testing.hpp"

namespace {

uint32_t empty_thread(void *) { return 0; }

void run_ox_thread()
{
    ox_thread *t = ox_thread_new(empty_thread, nullptr);
    ox_thread_start(t);
    ox_thread_join(t, nullptr);
    ox_thread_destroy(t);
}

void BM_OxThreadNewStartJoin(benchmark::State &state)
{
    cairn::testing::set_thread_start_pause(true);
    for (auto _ : state)
        run_ox_thread();
}
BENCHMARK(BM_OxThreadNewStartJoin)->UseRealTime();

void BM_OxThreadNewStartJoinNoPause(benchmark::State &state)
{
    cairn::testing::set_thread_start_pause(false);
    for (auto _ : state)
        run_ox_thread();
    cairn::testing::set_thread_start_pause(true);
}
BENCHMARK(BM_OxThreadNewStartJoinNoPause)->UseRealTime();

void BM_StdThreadCreateJoin(benchmark::State &state)
{
    for (auto _ : state) {
        std::thread t([] {});
        t.join();
    }
}
BENCHMARK(BM_StdThreadCreateJoin)->UseRealTime();

}  // namespace
