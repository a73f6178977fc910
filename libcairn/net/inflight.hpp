// Lookups in flight: the first thread to miss the cache for a key resolves
// it; threads asking for the same key meanwhile wait for that answer
// instead of asking the system again.
#pragma once

#include <netdb.h>

#include "net/resolver_key.hpp"

namespace cairn::net {

struct Inflight;

// Enter the in-flight lock into the fork protection (once, at set-up).
void inflight_protect();

// The lookup of `key` in flight, joined (*owner false) or begun (*owner
// true, the caller resolves and then calls inflight_finish()).  nullptr
// when no record could be made: the caller resolves alone.
Inflight *inflight_join(const KeyRecord &key, bool *owner);

// Owner: publish the answer (a copy of `chain` is kept for the waiters),
// wake the waiters and drop the owner's hold.
void inflight_finish(Inflight *rec, int result, const addrinfo *chain);

// Waiter: wait for the answer and take a private copy.  Returns false when
// the owner ended without an answer (the caller starts over); otherwise
// *result is the owner's result (EAI_MEMORY when the copy failed).
bool inflight_wait(Inflight *rec, int *result, addrinfo **out);

// Undo step of an owner that ends before it finished: its waiters start
// over, one of them as the new owner.
void inflight_abandon(void *rec);

}  // namespace cairn::net
