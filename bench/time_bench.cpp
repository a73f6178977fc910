// ISO 8601 reading and writing against the C library pairs on the same
// texts and times: ox_8601ptime against strptime + timegm, ox_str8601_time
// against localtime_r + strftime.
#include <benchmark/benchmark.h>

#include <ctime>

#include "cairn/time.h"

namespace {

const char *const kTexts[] = {
    "2021-06-21T10:00:00Z",
    "2019-01-15T23:59:59Z",
    "2030-12-31T00:00:01Z",
    "2024-02-29T12:34:56Z",
};

void BM_ParseIso8601_Cairn(benchmark::State &state)
{
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ox_8601ptime(kTexts[i]));
        i = (i + 1) % std::size(kTexts);
    }
}
BENCHMARK(BM_ParseIso8601_Cairn);

void BM_ParseIso8601_StrptimeTimegm(benchmark::State &state)
{
    std::size_t i = 0;
    for (auto _ : state) {
        std::tm fields{};
        benchmark::DoNotOptimize(strptime(kTexts[i], "%Y-%m-%dT%H:%M:%SZ", &fields));
        benchmark::DoNotOptimize(timegm(&fields));
        i = (i + 1) % std::size(kTexts);
    }
}
BENCHMARK(BM_ParseIso8601_StrptimeTimegm);

const ox_time64_t kTimes[] = {1624269600, 1547596799, 1924905601, 1709210096};

void BM_WriteIso8601_Cairn(benchmark::State &state)
{
    std::size_t i = 0;
    char buf[64];
    for (auto _ : state) {
        benchmark::DoNotOptimize(ox_str8601_time(buf, sizeof buf, kTimes[i]));
        benchmark::ClobberMemory();
        i = (i + 1) % std::size(kTimes);
    }
}
BENCHMARK(BM_WriteIso8601_Cairn);

void BM_WriteIso8601_LocaltimeStrftime(benchmark::State &state)
{
    std::size_t i = 0;
    char buf[64];
    for (auto _ : state) {
        auto when = static_cast<std::time_t>(kTimes[i]);
        std::tm fields{};
        localtime_r(&when, &fields);
        benchmark::DoNotOptimize(std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%S%z", &fields));
        benchmark::ClobberMemory();
        i = (i + 1) % std::size(kTimes);
    }
}
BENCHMARK(BM_WriteIso8601_LocaltimeStrftime);

}  // namespace
