// Giving up the processor from a spin loop.
#pragma once

namespace cairn {

// Give up the time slice in a way that lets pending calls queued to this
// thread run (a zero-length alertable sleep).
void alertable_yield();

}  // namespace cairn
