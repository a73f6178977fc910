#include "platform/spin_policy.hpp"

#include <sched.h>

#include <atomic>

namespace cairn {
namespace {

// Rounds of one spin: a few microseconds, the time a thread running on
// another CPU takes to answer a hand-over.
constexpr int kSpinRounds = 200;
// Credit: +2 per successful spin, -1 per failed one, capped.  At zero a
// thread spins once in every kProbeEvery waits to see whether it pays again.
constexpr int kCreditMax = 16;
constexpr int kCreditStart = 8;
constexpr uint32_t kProbeEvery = 64;
// How long a reading of the affinity masks stays good, and how long a CPU
// seen in some thread's mask keeps counting for the process.
constexpr uint64_t kMaskRefreshNs = 50'000'000;
constexpr uint64_t kUnionWindowNs = 200'000'000;

struct SpinState {
    int credit = kCreditStart;
    uint32_t waits_since_probe = 0;
    uint64_t mask_read_ns = 0;
    bool mask_read = false;
    bool several = true;
};

thread_local SpinState t_spin;

// The CPUs that the process's threads were recently allowed to run on: each
// thread adds its own mask when it refreshes, and the set starts again after
// a while, so CPUs of threads that ended or were re-pinned drop out.  The
// process can use another CPU if any thread may run on one.
std::atomic<uint64_t> g_cpus_seen{0};
std::atomic<uint64_t> g_cpus_since_ns{0};

// The calling thread's affinity mask as a bit set of the first 64 CPUs,
// with every CPU beyond them folded into the last bit.
uint64_t own_cpus()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) != 0)
        return ~uint64_t{0};  // unknown: assume several
    uint64_t bits = 0;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
        if (CPU_ISSET(cpu, &set))
            bits |= uint64_t{1} << (cpu < 63 ? cpu : 63);
    return bits;
}

bool refresh_several(uint64_t now_ns)
{
    uint64_t mine = own_cpus();
    uint64_t since = g_cpus_since_ns.load(std::memory_order_relaxed);
    if (now_ns - since > kUnionWindowNs &&
        g_cpus_since_ns.compare_exchange_strong(since, now_ns, std::memory_order_relaxed))
        g_cpus_seen.store(mine, std::memory_order_relaxed);
    uint64_t seen = g_cpus_seen.fetch_or(mine, std::memory_order_relaxed) | mine;
    return (seen & (seen - 1)) != 0;  // more than one bit
}

}  // namespace

bool several_cpus(uint64_t now_ns)
{
    SpinState &s = t_spin;
    if (!s.mask_read || now_ns - s.mask_read_ns > kMaskRefreshNs) {
        s.several = refresh_several(now_ns);
        s.mask_read_ns = now_ns;
        s.mask_read = true;
    }
    return s.several;
}

int spin_rounds(uint64_t now_ns)
{
    if (!several_cpus(now_ns))
        return 0;
    SpinState &s = t_spin;
    if (s.credit > 0)
        return kSpinRounds;
    if (++s.waits_since_probe < kProbeEvery)
        return 0;
    s.waits_since_probe = 0;
    return kSpinRounds;
}

void spin_outcome(bool succeeded)
{
    SpinState &s = t_spin;
    if (succeeded)
        s.credit = s.credit + 2 > kCreditMax ? kCreditMax : s.credit + 2;
    else if (s.credit > 0)
        --s.credit;
}

}  // namespace cairn
