// The process runtime record's environment snapshot, taken by
// initialisation and kept current by ox_putenv().
#pragma once

namespace cairn {

// Replace the snapshot by private copies of the current environment.
void environment_snapshot_take();
// Number of entries in the snapshot (tests, process spawning).
int environment_snapshot_size();
// A copy of the snapshot entry for NAME ("NAME=value"), into `out`; false
// when there is none.
bool environment_snapshot_find(const char *name, char *out, unsigned size);

}  // namespace cairn
