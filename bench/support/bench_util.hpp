// Helpers shared by the benchmarks.
#pragma once

namespace cairn::bench {

// Pin the calling thread to one CPU (cpu modulo the CPUs available), so that
// two-thread benchmarks run their threads on different cores.
void pin_to_cpu(int cpu);

}  // namespace cairn::bench
