// The wait core's wait on descriptors: poll() made alertable.  Calls queued
// to the thread and its due work (timers) run as in every library wait,
// and an optional generation word ends the wait when it changes.
#pragma once

#include <poll.h>

#include <atomic>
#include <cstdint>

namespace cairn {

// A word whose change ends a descriptor wait (a process-wide interrupt):
// the waker changes `word` and then calls wake_descriptor_waiters().
struct WaitGeneration {
    const std::atomic<uint32_t> *word;
    uint32_t seen;  // the value when the caller's wait began

    bool changed() const { return word->load(std::memory_order_seq_cst) != seen; }
};

// Wait until one of the `n` entries of `fds` is ready, the monotonic
// `deadline_ns` passes (kNoDeadline: never), queued calls or due work ran,
// or `generation` (may be nullptr) changed.  `fds` has room for one entry
// more than `n`: the thread's wake descriptor goes there.  Queued calls
// and due work run before anything else, so a wait whose deadline has
// already passed polls once, without sleeping.
// Returns poll()'s ready count, 0 at the deadline, or -1 with errno: EINTR
// when calls or due work ran or the generation changed, else poll()'s or
// the wake descriptor's error.
int descriptor_wait(pollfd *fds, nfds_t n, uint64_t deadline_ns, const WaitGeneration *generation);

}  // namespace cairn
