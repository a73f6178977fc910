// ox_select() and ox_poll() with nothing to do (time-out 0) against the
// system's select() and poll() on the same sockets: the cost of the
// library's alert checks and entry copies per call.
#include <benchmark/benchmark.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>

#include "cairn/net.h"

namespace {

constexpr int kSockets = 4;

struct IdleSockets {
    int fd[2 * kSockets];
    IdleSockets()
    {
        for (int i = 0; i < kSockets; ++i)
            if (socketpair(AF_UNIX, SOCK_STREAM, 0, &fd[2 * i]) != 0)
                abort();
    }
    ~IdleSockets()
    {
        for (int f : fd)
            close(f);
    }
};

void BM_ox_select(benchmark::State &state)
{
    IdleSockets s;
    auto set = std::make_unique<ox_fd_set>();
    for (auto _ : state) {
        OX_FD_ZERO(set.get());
        for (int i = 0; i < kSockets; ++i)
            OX_FD_SET(s.fd[2 * i], set.get());
        timeval zero{0, 0};
        benchmark::DoNotOptimize(ox_select(0, set.get(), nullptr, nullptr, &zero));
    }
}
BENCHMARK(BM_ox_select);

void BM_system_select(benchmark::State &state)
{
    IdleSockets s;
    for (auto _ : state) {
        fd_set set;
        FD_ZERO(&set);
        int top = 0;
        for (int i = 0; i < kSockets; ++i) {
            FD_SET(s.fd[2 * i], &set);
            top = std::max(top, s.fd[2 * i]);
        }
        timeval zero{0, 0};
        benchmark::DoNotOptimize(select(top + 1, &set, nullptr, nullptr, &zero));
    }
}
BENCHMARK(BM_system_select);

void BM_ox_poll(benchmark::State &state)
{
    IdleSockets s;
    pollfd entries[kSockets];
    for (int i = 0; i < kSockets; ++i)
        entries[i] = pollfd{s.fd[2 * i], POLLIN, 0};
    for (auto _ : state)
        benchmark::DoNotOptimize(ox_poll(entries, kSockets, 0));
}
BENCHMARK(BM_ox_poll);

void BM_system_poll(benchmark::State &state)
{
    IdleSockets s;
    pollfd entries[kSockets];
    for (int i = 0; i < kSockets; ++i)
        entries[i] = pollfd{s.fd[2 * i], POLLIN, 0};
    for (auto _ : state)
        benchmark::DoNotOptimize(poll(entries, kSockets, 0));
}
BENCHMARK(BM_system_poll);

}  // namespace
