// The Linux emulation of the platform's thread-local slots: a process-wide
// table of slot indexes handed out and returned, and per-thread values kept
// in the thread's library record.  A slot that is allocated again reads
// NULL in every thread, as a fresh platform slot does.
#pragma once

#include <cstdint>

namespace cairn {

// Slots a process has; index 0 is the library's own record and never
// handed out.
constexpr uint32_t kTlsSlotCount = 1088;

// A free slot index, or -1 when none is left.
int tls_alloc();

// Return a slot.  False for an index that is not allocated.
bool tls_free(int index);

// The calling thread's value of a slot; nullptr when unset or invalid.
void *tls_get(int index);

// Store the calling thread's value.  False when the thread's table cannot
// grow (last error ENOMEM) or the index is invalid (last error EINVAL).
bool tls_set(int index, void *value);

}  // namespace cairn
