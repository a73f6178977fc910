// Fork safety: every process-wide lock of the library is taken before a
// fork, in one fixed order, and released in the parent and the child after
// it, so that a child never inherits a lock held by a thread that does not
// exist there.  The child then forgets the other threads (see
// forget_other_threads() in thread_record.hpp).
//
// Each lock is entered once, when it is made, with an accessor that gives
// the lock now (nullptr once it was torn down); the handlers are installed
// with the first entry.
#pragma once

#include <pthread.h>

#include "cairn/concurrency.h"

namespace cairn {

class CriticalSection;
class WordLock;

// The order in which the locks are taken: a lock held while another is
// taken comes first.
enum class ForkRank : int {
    key_list,       // storage destructors run under it
    exit_handlers,  // the handler list's container mutex
    program_name,
    message_logs,  // opening a log reads no other locked state
    directories,
    environment,
    service_time,
    output_fds,
    debug_event,
    timers,
    resolver_inflight,  // leaf: nothing is taken under it
    registry,
    tls_slots,
    records,
    count
};

void fork_protect(ForkRank rank, CriticalSection *(*current)());
void fork_protect(ForkRank rank, WordLock *(*current)());
void fork_protect(ForkRank rank, pthread_mutex_t *(*current)());
// A library mutex (one that may be held across user code or waited on).
void fork_protect(ForkRank rank, ox_mutex *(*current)());

// In a forked child: onces whose function another thread was running are
// reset, so that the child runs them itself (what they made may leak).
void forget_unfinished_onces();

}  // namespace cairn
