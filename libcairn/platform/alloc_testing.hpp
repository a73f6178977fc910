// Test seam of the library's allocator.  Not part of the exported API: tests
// reach it by linking the static library.
#pragma once

namespace cairn::testing {

// Make the nth allocation from now fail (1 = the next one).  With `sticky`
// every allocation after it fails too.  0 turns failure injection off.
void alloc_fail_at(long nth, bool sticky = false);

// Start counting allocations: made, and live (made minus freed).
void alloc_tracking_start();
void alloc_tracking_stop();
long alloc_count();
long alloc_live();

}  // namespace cairn::testing
