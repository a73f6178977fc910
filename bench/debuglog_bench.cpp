// The debug log against plain peers: a disabled line against a call of an
// empty function that is not inlined, and an enabled line to a file
// against fprintf of the same text to an unbuffered stream.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "cairn/diagnostics.h"
#include "cairn/frame.h"

namespace {

__attribute__((noinline, noipa)) void empty_call(int level, const char *fmt, int value)
{
    benchmark::DoNotOptimize(level);
    benchmark::DoNotOptimize(fmt);
    benchmark::DoNotOptimize(value);
}

void BM_DisabledLine_Dfprintf(benchmark::State &state)
{
    Debug = 0;
    int value = 7;
    for (auto _ : state) {
        dfprintf(3, "disabled line %d\n", value);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_DisabledLine_Dfprintf);

void BM_DisabledLine_EmptyCallPeer(benchmark::State &state)
{
    int value = 7;
    for (auto _ : state) {
        empty_call(3, "disabled line %d\n", value);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_DisabledLine_EmptyCallPeer);

// A scratch file per run, truncated when it grows, so that both peers
// write to files of the same size.
struct ScratchFile {
    std::string path;
    ScratchFile()
    {
        char tmpl[] = "/tmp/cairn-dlbench-XXXXXX";
        int fd = mkstemp(tmpl);
        close(fd);
        path = tmpl;
    }
    ~ScratchFile() { unlink(path.c_str()); }
};

void BM_EnabledLine_DfprintfToFile(benchmark::State &state)
{
    ScratchFile file;
    ox_set_progname("bench");
    Debug = 1;
    dfopen(file.path.c_str());
    int value = 7;
    for (auto _ : state)
        dfprintf(1, "enabled line with a value %d and some text\n", value);
    dfclose();
    Debug = 0;
}
BENCHMARK(BM_EnabledLine_DfprintfToFile);

void BM_EnabledLine_UnbufferedFprintfPeer(benchmark::State &state)
{
    ScratchFile file;
    std::FILE *fp = std::fopen(file.path.c_str(), "a");
    std::setvbuf(fp, nullptr, _IONBF, 0);
    int value = 7;
    for (auto _ : state)
        std::fprintf(fp, "bench: enabled line with a value %d and some text\n", value);
    std::fclose(fp);
}
BENCHMARK(BM_EnabledLine_UnbufferedFprintfPeer);

}  // namespace
