// Test seam of the thread layer.  Not part of the exported API.
#pragma once

namespace cairn::testing {

// Whether ox_thread_start() pauses 1 millisecond after a successful start
// (on by default); benchmarks turn it off to measure the rest.
void set_thread_start_pause(bool enabled);

}  // namespace cairn::testing
