#include "bench_util.hpp"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace cairn::bench {

void pin_to_cpu(int cpu)
{
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    if (n <= 0)
        return;
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<int>(cpu % n), &set);
    pthread_setaffinity_np(pthread_self(), sizeof set, &set);
}

}  // namespace cairn::bench
