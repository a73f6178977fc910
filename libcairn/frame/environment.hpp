// The process runtime record's environment snapshot, taken by
// initialisation and kept current by ox_putenv().
#pragma once

#include <cstddef>

#include "platform/critical_section.hpp"

namespace cairn {

// The lock under which the library reads or changes the process
// environment.  The C library's setenv() may move the environment while
// getenv(), tzset() or mktime() (which reads TZ) walk it, so every such
// call the library makes runs while this lock is held.
CriticalSection &environment_lock();

// The value of NAME copied into `out` (at most size - 1 bytes, always
// terminated when size > 0), read under the environment lock.  False, with
// `out` empty, when NAME is unset.  Reads the live environment, not the
// ox_getenv() cache, so changes made with setenv() are seen at once.
bool environment_read(const char *name, char *out, std::size_t size);

// Whether NAME is set, read under the environment lock.
bool environment_has(const char *name);

// Replace the snapshot by private copies of the current environment.
void environment_snapshot_take();
// Number of entries in the snapshot (tests, process spawning).
int environment_snapshot_size();
// A copy of the snapshot entry for NAME ("NAME=value"), into `out`; false
// when there is none.
bool environment_snapshot_find(const char *name, char *out, unsigned size);

}  // namespace cairn
