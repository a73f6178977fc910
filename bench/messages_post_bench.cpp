// Posting a typical notice to a message log with msg_print() against
// fprintf() of the same line (time, program, pid, severity, number, text)
// to a file followed by fflush(), the cheapest way a peer gets each line
// to the file when it is written.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>

#include "cairn/frame.h"
#include "cairn/messages.h"

namespace {

constexpr long kTruncateEvery = 4096;  // keep both files small

struct ScratchDir {
    std::string path;
    ScratchDir()
    {
        char tmpl[] = "/tmp/cairn-postbench-XXXXXX";
        if (mkdtemp(tmpl) != nullptr)
            path = tmpl;
    }
    ~ScratchDir() { std::filesystem::remove_all(path); }
};

void BM_Notice_MsgPrintToLog(benchmark::State &state)
{
    ScratchDir dir;
    ox_set_progname("bench");
    msg_log_open(dir.path.c_str());
    std::string log = dir.path + "/messages.log";
    long n = 0;
    for (auto _ : state) {
        msg_print(2052, 50000, MSG_LOG_MESSAGES, "Lookup of %s took %s seconds\n", MSG_ARG_TEXT,
                  "client7.example.net", MSG_ARG_NUMBER, "12");
        if (++n % kTruncateEvery == 0)
            benchmark::DoNotOptimize(truncate(log.c_str(), 0));
    }
    msg_log_close();
}
BENCHMARK(BM_Notice_MsgPrintToLog);

void BM_Notice_FprintfFflushPeer(benchmark::State &state)
{
    ScratchDir dir;
    std::string path = dir.path + "/peer.log";
    std::FILE *f = std::fopen(path.c_str(), "a");
    long n = 0;
    for (auto _ : state) {
        char when[40];
        std::time_t now = std::time(nullptr);
        struct tm tm;
        std::strftime(when, sizeof when, "%Y-%m-%dT%H:%M:%S%z", localtime_r(&now, &tm));
        std::fprintf(f, "%s %s[%d] %s(%u) #%d: Lookup of %s took %s seconds\n", when, "bench",
                     static_cast<int>(getpid()), "info", 50000u, 2052, "client7.example.net", "12");
        std::fflush(f);
        if (++n % kTruncateEvery == 0)
            benchmark::DoNotOptimize(ftruncate(fileno(f), 0));
    }
    std::fclose(f);
}
BENCHMARK(BM_Notice_FprintfFflushPeer);

}  // namespace
