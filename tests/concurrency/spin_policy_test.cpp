// The spin policy: no spin where the process can run on one CPU only, and
// a credit that failed spins use up and successful ones restore.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include "platform/futex.hpp"
#include "platform/spin_policy.hpp"

using namespace cairn;

namespace {

bool pin_to(const cpu_set_t &set)
{
    return pthread_setaffinity_np(pthread_self(), sizeof set, &set) == 0;
}

}  // namespace

TEST(SpinPolicy, NoSpinOnOneCpuAndACreditElsewhere)
{
    cpu_set_t all;
    ASSERT_EQ(pthread_getaffinity_np(pthread_self(), sizeof all, &all), 0);
    cpu_set_t one;
    CPU_ZERO(&one);
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
        if (CPU_ISSET(cpu, &all)) {
            CPU_SET(cpu, &one);
            break;
        }
    // This process's only thread pinned to one CPU: nothing spins, whatever
    // the credit says.  Times far apart make each call read the masks anew.
    uint64_t now = monotonic_ns() + 10'000'000'000ull;
    ASSERT_TRUE(pin_to(one));
    EXPECT_FALSE(several_cpus(now));
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(spin_rounds(now), 0);

    ASSERT_TRUE(pin_to(all));
    now += 1'000'000'000ull;
    if (CPU_COUNT(&all) < 2)
        GTEST_SKIP() << "one CPU only";
    EXPECT_TRUE(several_cpus(now));
    EXPECT_GT(spin_rounds(now), 0);

    // Failed spins use the credit up: then one wait in 64 probes.
    for (int i = 0; i < 20; ++i)
        spin_outcome(false);
    int spins = 0;
    for (int i = 0; i < 128; ++i)
        spins += spin_rounds(now) > 0;
    EXPECT_EQ(spins, 2);
    // A probe that pays gives the credit back.
    spin_outcome(true);
    EXPECT_GT(spin_rounds(now), 0);
    EXPECT_GT(spin_rounds(now), 0);
}
