// When a wait may spin before it sleeps.  A spin pays only while the thread
// that will release the object runs on another CPU; on one CPU it burns the
// time slice that thread needs.  Each thread keeps a credit that successful
// spins raise and failed ones lower: at zero it stops spinning and only
// tries now and then whether spinning pays again.  Where the process can run
// on one CPU only, nothing spins.
#pragma once

#include <cstdint>

namespace cairn {

// Rounds of cpu_relax() the calling thread's next spin may take (0: do not
// spin).  `now_ns` is the monotonic time the caller already read.
int spin_rounds(uint64_t now_ns);

// What the spin that spin_rounds() allowed came to.
void spin_outcome(bool succeeded);

// Whether the process may run on more than one CPU (cached; refreshed at
// most every few tens of milliseconds).
bool several_cpus(uint64_t now_ns);

}  // namespace cairn
