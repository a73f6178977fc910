// A typical debug line with four conversions, plain and positional:
// ox_vsnprintf against the C library's vsnprintf, and ox_snprintf against
// snprintf.
#include <benchmark/benchmark.h>

#include <cstdarg>
#include <cstdio>

#include "cairn/diagnostics.h"

namespace {

constexpr const char kPlain[] = "%s: job %d of client %s ended with status 0x%x\n";
constexpr const char kPositional[] = "%1$s: job %2$d of client %3$s ended with status 0x%4$x\n";

int library(char *buf, size_t size, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = ox_vsnprintf(buf, size, fmt, ap);
    va_end(ap);
    return n;
}

int runtime(char *buf, size_t size, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    int n = std::vsnprintf(buf, size, fmt, ap);
    va_end(ap);
    return n;
}

template <int (*Format)(char *, size_t, const char *, ...)>
void run(benchmark::State &state, const char *fmt)
{
    char buf[256];
    for (auto _ : state) {
        int n =
            Format(buf, sizeof buf, fmt, "savegrp", 48213, "backup-client-07.example.com", 0x1f);
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(buf);
    }
}

void BM_ox_snprintf_plain(benchmark::State &state)
{
    char buf[256];
    for (auto _ : state) {
        int n = ox_snprintf(buf, sizeof buf, kPlain, "savegrp", 48213,
                            "backup-client-07.example.com", 0x1f);
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(buf);
    }
}

void BM_snprintf_plain(benchmark::State &state)
{
    char buf[256];
    for (auto _ : state) {
        int n = std::snprintf(buf, sizeof buf, kPlain, "savegrp", 48213,
                              "backup-client-07.example.com", 0x1f);
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(buf);
    }
}

void BM_ox_snprintf_positional(benchmark::State &state)
{
    char buf[256];
    for (auto _ : state) {
        int n = ox_snprintf(buf, sizeof buf, kPositional, "savegrp", 48213,
                            "backup-client-07.example.com", 0x1f);
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(buf);
    }
}

void BM_snprintf_positional(benchmark::State &state)
{
    char buf[256];
    for (auto _ : state) {
        int n = std::snprintf(buf, sizeof buf, kPositional, "savegrp", 48213,
                              "backup-client-07.example.com", 0x1f);
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(buf);
    }
}

void BM_ox_vsnprintf_plain(benchmark::State &state) { run<library>(state, kPlain); }
void BM_vsnprintf_plain(benchmark::State &state) { run<runtime>(state, kPlain); }
void BM_ox_vsnprintf_positional(benchmark::State &state) { run<library>(state, kPositional); }
void BM_vsnprintf_positional(benchmark::State &state) { run<runtime>(state, kPositional); }

}  // namespace

BENCHMARK(BM_ox_snprintf_plain);
BENCHMARK(BM_snprintf_plain);
BENCHMARK(BM_ox_snprintf_positional);
BENCHMARK(BM_snprintf_positional);
BENCHMARK(BM_ox_vsnprintf_plain);
BENCHMARK(BM_vsnprintf_plain);
BENCHMARK(BM_ox_vsnprintf_positional);
BENCHMARK(BM_vsnprintf_positional);
