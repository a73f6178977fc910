// ox_8601ptime against strptime + timegm on the same text.
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

}  // namespace
