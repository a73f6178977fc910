// The kernel's wait-on-address primitive and the monotonic clock that every
// wait of the library measures its deadline on.
#pragma once

#include <atomic>
#include <cstdint>

namespace cairn {

// A deadline that never comes.
constexpr uint64_t kNoDeadline = UINT64_MAX;

// Nanoseconds on the monotonic clock.
uint64_t monotonic_ns();

// The monotonic deadline `ms` milliseconds from now; 0xFFFFFFFF is forever.
uint64_t deadline_after_ms(uint32_t ms);

// Sleep while `word` holds `expected`, until woken, interrupted by a signal
// or `deadline_ns` (monotonic) passes.  Callers re-check their condition:
// every return may be spurious.
void futex_wait(std::atomic<uint32_t> &word, uint32_t expected, uint64_t deadline_ns);

// Wake up to `count` threads sleeping on `word`.  Only the address is used,
// so waking a word whose memory was reused merely causes a spurious wake.
void futex_wake(std::atomic<uint32_t> &word, int count);

}  // namespace cairn
